#pragma once

// Checks whether dnsmasq works, and with the files of the last run.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct DnsmasqHealth {
  std::int64_t files_modified = 0;      // when its files were last changed: microseconds since 1970
  std::string configuration;            // the file that it was started with, unless that leads to the run's
  std::vector<std::string> silent;      // addresses at which it does not answer
  std::optional<bool> has_dhcp_socket;  // nothing if that cannot be seen
};

// `process` is its PID. Sends a DNS query to each of the addresses; those without an answer after
// kQuerySeconds count as silent.
DnsmasqHealth read_dnsmasq_health(const std::string& process, const std::vector<std::string>& addresses);

// The configuration file that a command line of dnsmasq names, and the files of the directories that it
// names. Its words are separated by NUL characters.
std::vector<std::string> dnsmasq_configurations(const std::string& command_line);

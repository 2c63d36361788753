#pragma once

// Checks whether dnsmasq works and uses the files of the last run.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct DnsmasqHealth {
  std::int64_t files_modified = 0;      // when its files were last changed: microseconds since 1970
  std::string configuration;            // the file that it was started with; empty if it leads to the run's
  std::vector<std::string> silent;      // addresses at which it does not answer
  std::optional<bool> has_dhcp_socket;  // nothing if this user cannot determine it
};

// Examines dnsmasq, whose PID is `process`. Sends a DNS query to each of the addresses; an address is silent
// if no response comes within kQuerySeconds.
DnsmasqHealth read_dnsmasq_health(const std::string& process, const std::vector<std::string>& addresses);

// Configuration files named by a command line of dnsmasq, whose words are separated by NUL characters. The
// first one is the file of --conf-file or the default; the files of each --conf-dir follow.
std::vector<std::string> dnsmasq_configurations(const std::string& command_line);

#pragma once

// The addresses that dnsmasq has leased.

#include <ctime>
#include <optional>
#include <string>
#include <vector>

struct Lease {
  std::string address;
  std::string mac_address;
  std::string name;         // host name sent by the client; empty if there is none
  std::time_t expires = 0;  // 0: never
};

// Reads the leases, sorted by address. There are none if dnsmasq's file does not exist. Returns nothing, or
// why the file cannot be read.
std::optional<std::string> read_leases(std::vector<Lease>& leases);

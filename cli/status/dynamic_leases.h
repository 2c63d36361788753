#pragma once

// The addresses that dnsmasq has leased.

#include <ctime>
#include <optional>
#include <string>
#include <vector>

struct Lease {
  std::string address;
  std::string mac_address;
  std::string name;         // as the host calls itself; empty without one
  std::time_t expires = 0;  // 0 is never
};

// Reads the leases, sorted by address; without dnsmasq's file there are none. Returns nothing, or why the
// file cannot be read.
std::optional<std::string> read_leases(std::vector<Lease>& leases);

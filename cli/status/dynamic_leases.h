#pragma once

// The addresses that dnsmasq has given.

#include <ctime>
#include <string>
#include <vector>

struct Lease {
  std::string address;
  std::string mac_address;
  std::string name;         // as the host calls itself; empty without one
  std::time_t expires = 0;  // 0 is never
};

// In the order of the addresses.
std::vector<Lease> read_leases();

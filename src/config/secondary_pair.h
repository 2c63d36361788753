#pragma once

// The fixed link-local addresses of the two Ethernet ports, each port in its half of 169.254.0.0/24.

#include <string>

inline constexpr char kSecondaryNetmask[] = "255.255.255.128";

struct SecondaryPair {
  const char* gateway;  // the port's own secondary address
  const char* device;   // for the one device behind a pass-through port
};

// The pair of "eth0" or "eth1"; null for any other name.
const SecondaryPair* secondary_pair_of(const std::string& port);

#pragma once

// The network of an address as text.

#include <string>

#include "platform/libvantor.h"

// Network address, slash, prefix length; empty when the address or the prefix is invalid.
inline std::string subnet_of(const std::string& ipv4, int prefix) {
  char subnet[24] = "";
  get_cidr_subnet(ipv4.c_str(), prefix, subnet);
  return subnet;
}

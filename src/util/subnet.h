#pragma once

// Computes the network of an address in text form.

#include <string>

#include "platform/libvantor.h"

// Returns network address, slash, prefix length; an empty string if the address or the prefix is invalid.
inline std::string subnet_of(const std::string& ipv4, int prefix) {
  char subnet[24] = "";
  get_cidr_subnet(ipv4.c_str(), prefix, subnet);
  return subnet;
}

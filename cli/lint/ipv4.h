#pragma once

// IPv4 addresses and subnets as numbers.

#include <cstdint>
#include <optional>
#include <string>

using Ipv4 = std::uint32_t;  // in the host's byte order

// Parses an address in dotted notation with four parts; nothing for any other string.
std::optional<Ipv4> parse_ipv4(const std::string& text);

std::string to_text(Ipv4 address);

struct Subnet {
  Ipv4 address;  // of the network
  int prefix;    // 0 to 32

  Ipv4 broadcast() const;
  bool contains(Ipv4 other) const;
  bool overlaps(const Subnet& other) const;
  // Whether the address can be that of a host in the subnet: neither the network address nor the broadcast
  // address. Subnets with a prefix length of 31 or 32 have neither.
  bool has_host(Ipv4 other) const;
};

std::string to_text(const Subnet& subnet);

// Why an address for which has_host() is false cannot be that of a host: "192.168.2.9 is outside
// 192.168.1.0/24", or it is the network address or the broadcast address.
std::string obstacle(const Subnet& subnet, Ipv4 address);

// The subnet of an address; nothing if the prefix length is not from 0 to 32.
std::optional<Subnet> subnet_with(Ipv4 address, int prefix);

// The subnet of an address in dotted notation; nothing if the address is invalid, or if the prefix length is
// not from 0 to 32.
std::optional<Subnet> parse_subnet(const std::string& address, int prefix);

// The prefix length that systemd-networkd assumes for an address without one: that of the address class.
int prefix_of_class(Ipv4 address);

// Whether the address is not routed on the internet: it is private, shared or link-local.
bool is_private(Ipv4 address);

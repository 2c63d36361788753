#pragma once

// IPv4 addresses and subnets as numbers.

#include <cstdint>
#include <optional>
#include <string>

using Ipv4 = std::uint32_t;  // in the host's byte order

// The address of a dotted text with four parts; nothing for any other text.
std::optional<Ipv4> parse_ipv4(const std::string& text);

std::string to_text(Ipv4 address);

struct Subnet {
  Ipv4 address;  // of the network
  int prefix;    // 0 to 32

  Ipv4 broadcast() const;
  bool contains(Ipv4 other) const;
  bool overlaps(const Subnet& other) const;
  // Whether the address can be a host's: neither the network's own nor the broadcast address, which subnets
  // with a prefix of 31 or 32 do not have.
  bool has_host(Ipv4 other) const;
};

std::string to_text(const Subnet& subnet);

// Why an address that is no host's is none: "192.168.2.9 is outside 192.168.1.0/24", or that it is the
// network's own or the broadcast address.
std::string obstacle(const Subnet& subnet, Ipv4 address);

// The subnet of an address; nothing for a prefix outside 0 to 32.
std::optional<Subnet> subnet_with(Ipv4 address, int prefix);

// The same for the text of an address; nothing when it is not one, either.
std::optional<Subnet> parse_subnet(const std::string& address, int prefix);

// The prefix length that systemd-networkd takes for an address without one: that of its class.
int prefix_of_class(Ipv4 address);

// Whether the internet has no routes to the address.
bool is_private(Ipv4 address);

#pragma once

// IPv4 and IPv6 networks, as in the settings of WireGuard.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/lint/ipv4.h"

struct IpNetwork {
  // The address in network byte order, including any host bits; an IPv4 address is in the first four bytes.
  std::array<std::uint8_t, 16> address;
  std::uint8_t prefix;
  bool is_ipv6;

  bool contains(const IpNetwork& other) const;
  // Whether both are the same network, regardless of host bits.
  bool is_same(const IpNetwork& other) const;
  bool is_default_route() const {
    return prefix == 0;
  }
  // Whether it is a single address.
  bool is_host() const {
    return prefix == (is_ipv6 ? 128 : 32);
  }
  // The network with its host bits cleared.
  IpNetwork masked() const;
  // The network as an IPv4 subnet; nothing if it is an IPv6 network.
  std::optional<Subnet> ipv4() const;
};

// Orders networks so that each one comes after those that contain it. For masked networks.
bool operator<(const IpNetwork& a, const IpNetwork& b);

std::string to_text(const IpNetwork& network);

// Parses a decimal number of up to five digits; nothing for any other string, and if the number is greater
// than `most`.
std::optional<int> parse_number(std::string_view text, int most);

// Parses an address with or without a prefix length; without one, the network is the single address. Nothing
// for any other string.
std::optional<IpNetwork> parse_ip_network(const std::string& text);

// Whether the string is an IPv4 or IPv6 address without a prefix length.
bool is_ip_address(const std::string& text);

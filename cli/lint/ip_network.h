#pragma once

// Networks of either address family, as WireGuard has them.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/lint/ipv4.h"

struct IpNetwork {
  // In network byte order; an IPv4 address in the first four bytes. With the bits of the host, if given.
  std::array<std::uint8_t, 16> address;
  std::uint8_t prefix;
  bool is_ipv6;

  bool contains(const IpNetwork& other) const;
  // Whether both are the same network, whatever the bits of the host are.
  bool is_same(const IpNetwork& other) const;
  bool is_default_route() const {
    return prefix == 0;
  }
  // Whether it is a single address.
  bool is_host() const {
    return prefix == (is_ipv6 ? 128 : 32);
  }
  // Without the bits of the host.
  IpNetwork masked() const;
  // The same as a subnet; nothing for one of IPv6.
  std::optional<Subnet> ipv4() const;
};

// An order in which each network directly or indirectly follows those that contain it. For masked networks.
bool operator<(const IpNetwork& a, const IpNetwork& b);

std::string to_text(const IpNetwork& network);

// A decimal number of up to five digits that is at most `most`.
std::optional<int> parse_number(std::string_view text, int most);

// An address with a prefix length or without one, which is a network of that address alone.
std::optional<IpNetwork> parse_ip_network(const std::string& text);

// Whether the text is an address of either family, without a prefix length.
bool is_ip_address(const std::string& text);

#pragma once

// Where the gateway sends packets, according to its units.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/compare/facts.h"
#include "cli/lint/ipv4.h"

struct UnitRoute {
  Subnet destination;
  std::string interface;
  std::string gateway;  // empty, the destination is on the link; "_dhcp" is the one that the lease names
  std::uint32_t metric;
};

// The main table.
std::vector<UnitRoute> routes_of(const Facts& facts);

// The route that the kernel would take; nothing without a route.
std::optional<UnitRoute> find_route(const std::vector<UnitRoute>& routes, Ipv4 destination);

std::optional<UnitRoute> find_default_route(const std::vector<UnitRoute>& routes);

// "eth1", "eth1 (gateway 192.168.2.1)".
std::string hop_of(const UnitRoute& route);

// The subnet of an address such as "192.168.1.1/24", which is a host's own without a prefix length; nothing
// for any other text.
std::optional<Subnet> subnet_of_address(const std::string& address);

// The address without its prefix length.
std::string without_prefix(const std::string& address);

// The interface that has the address, as its own or as its secondary one; empty if none has.
std::string interface_with_address(const Facts& facts, const std::string& address);

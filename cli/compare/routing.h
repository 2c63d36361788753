#pragma once

// Routes of the gateway, according to its units.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/compare/facts.h"
#include "cli/lint/ipv4.h"

struct UnitRoute {
  Subnet destination;
  std::string interface;
  std::string gateway;  // empty if the destination is on the link; "_dhcp" for the gateway of a DHCP lease
  std::uint32_t metric;
};

// The routes in the main routing table.
std::vector<UnitRoute> routes_of(const Facts& facts);

// The route that the kernel would use; nullopt if there is none.
std::optional<UnitRoute> find_route(const std::vector<UnitRoute>& routes, Ipv4 destination);

std::optional<UnitRoute> find_default_route(const std::vector<UnitRoute>& routes);

// The next hop of a route: "eth1", "eth1 (gateway 192.168.2.1)".
std::string hop_of(const UnitRoute& route);

// The subnet of an address such as "192.168.1.1/24"; without a prefix length, the address alone (/32).
// nullopt if the string is not an address.
std::optional<Subnet> subnet_of_address(const std::string& address);

// The address without its prefix length.
std::string without_prefix(const std::string& address);

// The interface with this primary or secondary address; empty if there is none.
std::string interface_with_address(const Facts& facts, const std::string& address);

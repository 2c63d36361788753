#include "cli/compare/routing.h"

#include <cstdlib>

// systemd-networkd's default metric for the routes of a DHCP lease.
constexpr std::uint32_t kLeasedMetric = 1024;

static std::uint32_t metric_of(const std::string& text, std::uint32_t fallback) {
  return text.empty() ? fallback : static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
}

std::string without_prefix(const std::string& address) {
  return address.substr(0, address.find('/'));
}

std::optional<Subnet> subnet_of_address(const std::string& address) {
  const std::size_t slash = address.find('/');
  const bool has_prefix = slash != std::string::npos;
  const int prefix =
      has_prefix ? static_cast<int>(std::strtol(address.c_str() + slash + 1, nullptr, 10)) : 32;
  return parse_subnet(address.substr(0, slash), prefix);
}

static void add_routes(const std::string& name, const InterfaceFacts& interface,
                       std::vector<UnitRoute>& routes) {
  for (const std::string* address : {&interface.address, &interface.secondary_address})
    if (const auto subnet = subnet_of_address(*address)) routes.push_back({*subnet, name, "", 0});
  if (interface.address == kDynamicAddress)
    routes.push_back({{0, 0}, name, "_dhcp", metric_of(interface.metric, kLeasedMetric)});
  for (const RouteFacts& section : interface.route_sections) {
    if (!section.table.empty() || section.gateway == "_dhcp") continue;
    // A section without a destination and a gateway does not add a route.
    if (section.destination.empty() && section.gateway.empty()) continue;
    const std::string destination = section.destination.empty() ? "0.0.0.0/0" : section.destination;
    if (const auto subnet = subnet_of_address(destination))
      routes.push_back({*subnet, name, section.gateway, metric_of(section.metric, 0)});
  }
}

std::vector<UnitRoute> routes_of(const Facts& facts) {
  std::vector<UnitRoute> routes;
  for (const auto& [name, interface] : facts.interfaces)
    add_routes(name, interface, routes);
  return routes;
}

std::optional<UnitRoute> find_route(const std::vector<UnitRoute>& routes, Ipv4 destination) {
  std::optional<UnitRoute> best;
  for (const UnitRoute& route : routes) {
    if (!route.destination.contains(destination)) continue;
    const bool is_longer = !best || route.destination.prefix > best->destination.prefix;
    const bool is_preferred =
        best && route.destination.prefix == best->destination.prefix && route.metric < best->metric;
    if (is_longer || is_preferred) best = route;
  }
  return best;
}

std::optional<UnitRoute> find_default_route(const std::vector<UnitRoute>& routes) {
  std::optional<UnitRoute> best;
  for (const UnitRoute& route : routes)
    if (route.destination.prefix == 0 && (!best || route.metric < best->metric)) best = route;
  return best;
}

std::string hop_of(const UnitRoute& route) {
  if (route.gateway.empty()) return route.interface;
  return route.interface + " (gateway " + (route.gateway == "_dhcp" ? "from DHCP" : route.gateway) + ")";
}

std::string interface_with_address(const Facts& facts, const std::string& address) {
  for (const auto& [name, interface] : facts.interfaces) {
    const bool is_own = without_prefix(interface.address) == address;
    if (is_own || without_prefix(interface.secondary_address) == address) return name;
  }
  return {};
}

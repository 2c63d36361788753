#include "cli/lint/route_rules.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_map>

#include "cli/lint/reachability.h"
#include "cli/lint/value_fixes.h"
#include "config/lookup.h"
#include "networkd/network_unit.h"
#include "networkd/wwan.h"
#include "platform/libcmd.h"
#include "tunnels/gre.h"

std::optional<std::string> written_gateway_of(const StaticRoute& route) {
  return route.written.has_gateway ? route.written.gateway : std::nullopt;
}

void gateway_malformed(const Site& site, Findings& findings) {
  const auto judge = [&findings](const Json::Value& object, const std::optional<std::string>& gateway,
                                 FindingDetails details) {
    if (gateway && !parse_ipv4(*gateway))
      findings.add(location_of(object, "gateway"), quoted(*gateway) + " is not an IPv4 address",
                   std::move(details));
  };
  for (const Interface& interface : site.interfaces)
    judge(*interface.network, interface.unit.default_gateway(),
          move_prefix_length(site.source.text, *interface.network, "gateway", "netmask"));
  for (const StaticRoute& route : site.routes)
    judge(*route.settings, written_gateway_of(route), {});
}

void gateway_ignored(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    const std::string gateway = route.written.gateway.value_or("");
    if (gateway.empty() || looks_like_address(gateway)) continue;
    findings.add(location_of(*route.settings, "gateway"),
                 quoted(gateway) + " is too short for an address: the route leads straight to " +
                     route.interface_name);
  }
}

void gateway_without_address(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    const std::optional<std::string> gateway = interface.unit.gateway;
    if (!gateway || *gateway == "0.0.0.0" || interface.unit.default_gateway()) continue;
    findings.add(location_of(*interface.network, "gateway"),
                 "without \"ipv4\", the gateway of " + interface.name + " is left out");
  }
}

namespace {

// The destinations of the static routes that lead straight to an interface, by its name.
using DirectRoutes = std::unordered_map<std::string, std::vector<Subnet>>;

}  // namespace

static DirectRoutes direct_routes(const Site& site) {
  DirectRoutes routes;
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    if (destination && !written_gateway_of(route)) routes[route.interface_name].push_back(*destination);
  }
  return routes;
}

// Whether the first of these addresses is the static address.
static bool has_static_subnet(const Interface& interface, const std::vector<OwnAddress>& addresses) {
  return !addresses.empty() && addresses.front().address == interface.address();
}

static bool is_in_subnet(const std::vector<OwnAddress>& addresses, Ipv4 address) {
  return std::any_of(addresses.begin(), addresses.end(),
                     [address](const OwnAddress& own) { return own.subnet.contains(address); });
}

// Why the gateway cannot be another host on an interface with these addresses; nothing if it can.
static std::optional<std::string> special_role(const std::vector<OwnAddress>& addresses, Ipv4 gateway) {
  for (const OwnAddress& own : addresses) {
    if (gateway == own.address) return to_text(gateway) + " is the interface's own address";
    if (own.subnet.contains(gateway) && !own.subnet.has_host(gateway)) return obstacle(own.subnet, gateway);
  }
  return std::nullopt;
}

// Why the kernel never gets a default route via this gateway, or gets one that leads nowhere; nothing if the
// route works.
static std::optional<std::string> why_unreachable(const Interface& interface,
                                                  const std::vector<OwnAddress>& addresses, Ipv4 gateway,
                                                  const DirectRoutes& direct) {
  if (gateway == 0) return "0.0.0.0 is not a gateway: the default route leads straight to " + interface.name;
  if (auto role = special_role(addresses, gateway)) return role;
  if (is_in_subnet(addresses, gateway)) return std::nullopt;
  const auto found = direct.find(interface.name);
  const bool has_route =
      found != direct.end() && std::any_of(found->second.begin(), found->second.end(),
                                           [gateway](const Subnet& way) { return way.contains(gateway); });
  if (has_route) return std::nullopt;
  return obstacle(addresses.front().subnet, gateway);
}

void gateway_unreachable(const Site& site, Findings& findings) {
  const DirectRoutes direct = direct_routes(site);
  for (const Interface& interface : site.interfaces) {
    const std::optional<Ipv4> gateway = parse_ipv4(interface.unit.default_gateway().value_or(""));
    const std::vector<OwnAddress> addresses = site.addresses_of(interface);
    if (!gateway || !has_static_subnet(interface, addresses)) continue;
    // If two interfaces have the same name, only the first one takes effect.
    if (site.find_interface(interface.name) != &interface) continue;
    if (const auto reason = why_unreachable(interface, addresses, *gateway, direct))
      findings.add(location_of(*interface.network, "gateway"), *reason,
                   *gateway == 0
                       ? FindingDetails()
                       : related_to(*addresses.front().location, "the address of " + interface.name));
  }
}

// Why the kernel rejects the gateway, even if it need not be in a subnet of the interface; nothing if the
// kernel accepts it.
static std::optional<std::string> why_unusable(const std::vector<OwnAddress>& addresses, Ipv4 gateway) {
  constexpr Ipv4 kFirstMulticast = 224;
  constexpr Ipv4 kLastMulticast = 239;
  const Ipv4 first_byte = gateway >> 24;
  if (first_byte >= kFirstMulticast && first_byte <= kLastMulticast) {
    return to_text(gateway) + " is a multicast address";
  }
  return special_role(addresses, gateway);
}

void route_gateway_unusable(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    const std::optional<Ipv4> gateway = parse_ipv4(written_gateway_of(route).value_or(""));
    if (!gateway) continue;
    const auto addresses =
        route.interface != nullptr ? site.addresses_of(*route.interface) : std::vector<OwnAddress>();
    if (const auto reason = why_unusable(addresses, *gateway)) {
      findings.add(location_of(*route.settings, "gateway"), *reason);
    } else if (const GatewayAddress* own = site.reachability().find_own(*gateway)) {
      findings.add(location_of(*route.settings, "gateway"),
                   to_text(*gateway) + " is the gateway's own address, on " + own->owner,
                   related_to(*own->location, "the address of " + own->owner));
    }
  }
}

// The connected network of another interface that contains the gateway of a route; null if there is none.
static const Route* network_elsewhere(const Site& site, const StaticRoute& route, Ipv4 gateway) {
  const Route* network = site.reachability().find_connected(gateway);
  return network != nullptr && network->owner != route.interface_name ? network : nullptr;
}

void route_gateway_outside(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    const std::optional<Ipv4> gateway = parse_ipv4(written_gateway_of(route).value_or(""));
    if (!gateway) continue;
    const auto addresses =
        route.interface != nullptr ? site.addresses_of(*route.interface) : std::vector<OwnAddress>();
    if (is_in_subnet(addresses, *gateway) || why_unusable(addresses, *gateway)) continue;
    if (site.reachability().find_own(*gateway) != nullptr) continue;
    const Json::Value& location = location_of(*route.settings, "gateway");
    if (const Route* network = network_elsewhere(site, route, *gateway)) {
      findings.add(
          location,
          to_text(*gateway) + " is in the network of " + network->owner + ", not of " + route.interface_name,
          related_to(*network->location, "the network of " + network->owner));
    } else if (route.interface != nullptr && has_static_subnet(*route.interface, addresses)) {
      // The subnets of the cellular link and of a DHCP client are not known here.
      findings.add(location,
                   to_text(*gateway) + " is outside " + to_text(addresses.front().subnet) +
                       ", the network of " + route.interface_name,
                   related_to(*addresses.front().location, "the address of " + route.interface_name));
    }
  }
}

void route_gateway_without_address(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    if (route.interface == nullptr || !written_gateway_of(route)) continue;
    const Interface& interface = *route.interface;
    const bool may_have_address = interface.kind == Interface::Kind::kPassthroughPort ||
                                  interface.unit.is_dhcp_client || interface.unit.ipv4;
    if (may_have_address || !site.addresses_of(interface).empty()) continue;
    findings.add(location_of(*route.settings, "interface"),
                 interface.name + " has no address and cannot reach the gateway of the route",
                 related_to(*interface.network, "the settings of " + interface.name));
  }
}

void route_gateway_in_passthrough(const Site& site, Findings& findings) {
  if (!site.context.passthrough_enabled) return;
  for (const StaticRoute& route : site.routes) {
    if (route.interface != nullptr || !written_gateway_of(route)) continue;
    findings.add(location_of(*route.settings, "gateway"),
                 "in pass-through a route over the cellular link cannot have a gateway");
  }
}

// The location of a route's metric; if it has none, that of its gateway, or else that of the route.
static const Json::Value* metric_location(const Json::Value& settings) {
  const Json::Value& gateway = location_of(settings, "gateway");
  const Json::Value& metric = location_of(settings, "metric");
  return &metric != &settings ? &metric : &gateway;
}

static void add_interface_defaults(const Site& site, std::vector<DefaultRoute>& routes) {
  // The metric that systemd-networkd gives to DHCP routes.
  constexpr int kDhcpMetric = 1024;
  for (const Interface& interface : site.interfaces) {
    if (site.find_interface(interface.name) != &interface) continue;
    const std::optional<int> metric = interface.unit.metric;
    if (interface.unit.is_dhcp_client) {
      routes.push_back({interface.name, metric.value_or(kDhcpMetric), interface.network,
                        &location_of(*interface.network, "metric")});
    } else if (parse_ipv4(interface.unit.default_gateway().value_or(""))) {
      routes.push_back(
          {interface.name, metric.value_or(0), interface.network, metric_location(*interface.network)});
    }
  }
}

static void add_cellular_default(const Site& site, std::vector<DefaultRoute>& routes) {
  if (!site.context.cell_enabled) return;
  const Json::Value& cell = *object_at(site.root, "wireless.cell");
  const int metric = read_wwan_settings(&site.context).metric.value_or(0);
  routes.push_back({"the cellular link", metric, &cell, &location_of(cell, "metric")});
}

// Whether a default route into the tunnel also takes the tunnel's own packets, which tunnel_through_itself
// reports.
static bool is_own_way(const Site& site, const GreTunnel& tunnel) {
  const std::optional<Ipv4> remote = parse_ipv4(tunnel.remote_ip.value_or(""));
  const Route* way = remote ? site.reachability().find(*remote) : nullptr;
  return way != nullptr && way->tunnel == tunnel.index;
}

static void add_listed_defaults(const Site& site, std::vector<DefaultRoute>& routes) {
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    if (!destination || destination->prefix > 0) continue;
    routes.push_back({route.interface_name, route.written.metric.value_or(0), route.settings,
                      metric_location(*route.settings)});
  }
  for (const GreTunnel& tunnel : site.tunnels) {
    for (const Json::Value& network : *tunnel.networks) {
      const std::optional<GreRoute> route = read_gre_route(network);
      if (route && parse_ipv4(route->destination) && route->prefix == 0 && !is_own_way(site, tunnel))
        routes.push_back({gre_tunnel_name(tunnel.index), 0, &network, &network});
    }
  }
}

std::vector<DefaultRoute> default_routes_of(const Site& site) {
  std::vector<DefaultRoute> routes;
  add_interface_defaults(site, routes);
  add_cellular_default(site, routes);
  add_listed_defaults(site, routes);
  return routes;
}

void default_routes_alike(const Site& site, Findings& findings) {
  std::vector<DefaultRoute> routes = default_routes_of(site);
  std::stable_sort(routes.begin(), routes.end(), [](const DefaultRoute& a, const DefaultRoute& b) {
    return a.location->getOffsetStart() < b.location->getOffsetStart();
  });
  std::unordered_map<int, const DefaultRoute*> by_metric;
  for (const DefaultRoute& route : routes) {
    const auto [known, is_new] = by_metric.emplace(route.metric, &route);
    const DefaultRoute& first = *known->second;
    if (is_new) continue;
    findings.add(*route.location,
                 "the default route of " + route.owner + " has metric " + std::to_string(route.metric) +
                     ", like that of " + first.owner,
                 related_to(*first.location, "the default route of " + first.owner));
  }
}

void route_incomplete(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    if (route.written.has_destination()) continue;
    if (!route.written.ipv4) {
      findings.add(location_of(*route.settings, "ipv4"), "the route has no \"ipv4\"");
    } else {
      findings.add(location_of(*route.settings, "netmask"), "the route has no \"netmask\"");
    }
  }
}

void route_host_bits(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    if (!destination) continue;
    const std::string& given = *route.written.ipv4;
    if (parse_ipv4(given) == destination->address) continue;
    findings.add(location_of(*route.settings, "ipv4"),
                 given + " has host bits set; the route is for " + to_text(*destination),
                 write_string_instead(location_of(*route.settings, "ipv4"), to_text(destination->address)));
  }
}

void route_twice(const Site& site, Findings& findings) {
  std::map<std::tuple<Ipv4, int, int>, const StaticRoute*> routes;
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    // default_routes_alike compares default routes.
    if (!destination || destination->prefix == 0) continue;
    const int metric = route.written.metric.value_or(0);
    const auto [known, is_new] =
        routes.emplace(std::tuple(destination->address, destination->prefix, metric), &route);
    const StaticRoute& first = *known->second;
    if (is_new) continue;
    findings.add(location_of(*route.settings, "ipv4"),
                 "there is already a route to " + to_text(*destination) + " with metric " +
                     std::to_string(metric) + ", on " + first.interface_name,
                 related_to(location_of(*first.settings, "ipv4"), "the other route"));
  }
}

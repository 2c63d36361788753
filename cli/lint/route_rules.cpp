#include "cli/lint/route_rules.h"

#include <net/if.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "cli/config_file/nearest.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/network_unit.h"
#include "networkd/wwan.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libcmd.h"
#include "tunnels/gre.h"

std::optional<std::string> written_gateway_of(const StaticRoute& route) {
  return route.written.has_gateway ? route.written.gateway : std::nullopt;
}

void gateway_malformed(const Site& site, Findings& findings) {
  const auto judge = [&findings](const Json::Value& object, const std::optional<std::string>& gateway) {
    if (gateway && !parse_ipv4(*gateway))
      findings.add(place_of(object, "gateway"), quoted(*gateway) + " is not an IPv4 address");
  };
  for (const Interface& interface : site.interfaces)
    judge(*interface.network, interface.unit.default_gateway());
  for (const StaticRoute& route : site.routes)
    judge(*route.settings, written_gateway_of(route));
}

void gateway_ignored(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    const std::string gateway = route.written.gateway.value_or("");
    if (gateway.empty() || looks_like_address(gateway)) continue;
    findings.add(place_of(*route.settings, "gateway"),
                 quoted(gateway) + " is too short for an address: the route leads straight to " +
                     route.interface_name);
  }
}

void gateway_without_address(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    const std::optional<std::string> gateway = interface.unit.gateway;
    if (!gateway || *gateway == "0.0.0.0" || interface.unit.default_gateway()) continue;
    findings.add(place_of(*interface.network, "gateway"),
                 "without \"ipv4\", the gateway of " + interface.name + " is left out");
  }
}

namespace {

// By interface, the destinations of the static routes that lead straight to it.
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

// Whether the subnet of the static address is among them, as the first.
static bool has_static_subnet(const Interface& interface, const std::vector<OwnAddress>& addresses) {
  return !addresses.empty() && addresses.front().address == interface.address();
}

static bool is_in_subnet(const std::vector<OwnAddress>& addresses, Ipv4 address) {
  return std::any_of(addresses.begin(), addresses.end(),
                     [address](const OwnAddress& own) { return own.subnet.contains(address); });
}

// What the gateway is on an interface with these addresses, if it is no other host's.
static std::optional<std::string> special_role(const std::vector<OwnAddress>& addresses, Ipv4 gateway) {
  for (const OwnAddress& own : addresses) {
    if (gateway == own.address) return to_text(gateway) + " is the interface's own address";
    if (own.subnet.contains(gateway) && !own.subnet.has_host(gateway)) return obstacle(own.subnet, gateway);
  }
  return std::nullopt;
}

// Why the kernel never gets a default route by this gateway, or one that leads nowhere; nothing when it does.
static std::optional<std::string> why_unreachable(const Interface& interface,
                                                  const std::vector<OwnAddress>& addresses, Ipv4 gateway,
                                                  const DirectRoutes& direct) {
  if (gateway == 0) return "0.0.0.0 is no gateway: the default route leads straight to " + interface.name;
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
    // Of two interfaces of one name, only the first can have its way.
    if (site.find_interface(interface.name) != &interface) continue;
    if (const auto reason = why_unreachable(interface, addresses, *gateway, direct))
      findings.add(place_of(*interface.network, "gateway"), *reason);
  }
}

// What the kernel refuses as a gateway even where it need not be in a subnet of the interface.
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
    if (const auto reason = why_unusable(addresses, *gateway))
      findings.add(place_of(*route.settings, "gateway"), *reason);
  }
}

void route_gateway_outside(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    // Nobody knows here the subnets of the cellular link and of a DHCP client.
    if (route.interface == nullptr) continue;
    const std::optional<Ipv4> gateway = parse_ipv4(written_gateway_of(route).value_or(""));
    const std::vector<OwnAddress> addresses = site.addresses_of(*route.interface);
    if (!gateway || !has_static_subnet(*route.interface, addresses)) continue;
    if (is_in_subnet(addresses, *gateway) || why_unusable(addresses, *gateway)) continue;
    findings.add(place_of(*route.settings, "gateway"), to_text(*gateway) + " is outside " +
                                                           to_text(addresses.front().subnet) +
                                                           ", the network of " + route.interface_name);
  }
}

void route_gateway_in_passthrough(const Site& site, Findings& findings) {
  if (!site.context.passthrough_enabled) return;
  for (const StaticRoute& route : site.routes) {
    if (route.interface != nullptr || !written_gateway_of(route)) continue;
    findings.add(place_of(*route.settings, "gateway"),
                 "in pass-through a route over the cellular link cannot have a gateway");
  }
}

namespace {

struct DefaultRoute {
  std::string owner;
  int metric;
  const Json::Value* place;
};

}  // namespace

// Where the metric of a route is, or what the route comes from.
static const Json::Value* metric_place(const Json::Value& settings) {
  const Json::Value& gateway = place_of(settings, "gateway");
  const Json::Value& metric = place_of(settings, "metric");
  return &metric != &settings ? &metric : &gateway;
}

static void add_interface_defaults(const Site& site, std::vector<DefaultRoute>& routes) {
  // What systemd-networkd gives the routes of DHCP.
  constexpr int kDhcpMetric = 1024;
  for (const Interface& interface : site.interfaces) {
    if (site.find_interface(interface.name) != &interface) continue;
    const std::optional<int> metric = interface.unit.metric;
    if (interface.unit.is_dhcp_client) {
      routes.push_back(
          {interface.name, metric.value_or(kDhcpMetric), &place_of(*interface.network, "metric")});
    } else if (parse_ipv4(interface.unit.default_gateway().value_or(""))) {
      routes.push_back({interface.name, metric.value_or(0), metric_place(*interface.network)});
    }
  }
}

static void add_cellular_default(const Site& site, std::vector<DefaultRoute>& routes) {
  if (!site.context.cell_enabled) return;
  const Json::Value& cell = *object_at(site.root, "wireless.cell");
  const int metric = read_wwan_settings(&site.context).metric.value_or(0);
  routes.push_back({"the cellular link", metric, &place_of(cell, "metric")});
}

static void add_listed_defaults(const Site& site, std::vector<DefaultRoute>& routes) {
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    if (!destination || destination->prefix > 0) continue;
    routes.push_back({route.interface_name, route.written.metric.value_or(0), metric_place(*route.settings)});
  }
  for (const GreTunnel& tunnel : site.tunnels) {
    for (const Json::Value& network : *tunnel.networks) {
      const std::optional<GreRoute> route = read_gre_route(network);
      if (route && parse_ipv4(route->destination) && route->prefix == 0)
        routes.push_back({gre_tunnel_name(tunnel.index), 0, &network});
    }
  }
}

void default_routes_alike(const Site& site, Findings& findings) {
  std::vector<DefaultRoute> routes;
  add_interface_defaults(site, routes);
  add_cellular_default(site, routes);
  add_listed_defaults(site, routes);
  std::stable_sort(routes.begin(), routes.end(), [](const DefaultRoute& a, const DefaultRoute& b) {
    return a.place->getOffsetStart() < b.place->getOffsetStart();
  });
  std::unordered_map<int, std::string> owners;
  for (const DefaultRoute& route : routes) {
    const auto [owner, is_new] = owners.emplace(route.metric, route.owner);
    if (is_new) continue;
    findings.add(*route.place, "the default route of " + route.owner + " has metric " +
                                   std::to_string(route.metric) + ", like that of " + owner->second);
  }
}

namespace {

// Tells why an interface gets no routes.
class MissingInterfaces {
 public:
  explicit MissingInterfaces(const Site& site) : tunnels_(array_at(site.root, "tunnels.gre").size()) {
    for (const EthernetPort& port : kEthernetPorts)
      add_if_member(site, port.name);
    for (const Radio& radio : kRadios)
      add_if_member(site, radio.name);
    for (const Interface& interface : site.interfaces) {
      if (interface.kind != Interface::Kind::kVlan) known_.push_back(interface.name);
    }
    if (site.context.cell_enabled) known_.push_back(kWwanRouteInterface);
  }

  std::string reason(const std::string& name) const {
    if (is_tunnel(name)) return name + " is a tunnel, whose routes are its \"tunnel_networks\"";
    if (members_.count(name) > 0)
      return name + " is a member of the bridge, whose routes are those of " + kBridgeName;
    if (name == kWwanRouteInterface) return "the cellular link is not enabled";
    const std::string problem = "no interface " + quoted(name) + " is set up";
    const std::optional<std::string> close = is_port_or_radio(name) ? std::nullopt : nearest(name, known_);
    return close ? problem + ": did you mean " + quoted(*close) + "?" : problem;
  }

 private:
  static bool is_port_or_radio(const std::string& name) {
    return find_ethernet_port(name) != nullptr || find_radio(name) != nullptr;
  }

  bool is_tunnel(const std::string& name) const {
    const std::size_t digits = name.find_last_not_of("0123456789") + 1;
    const unsigned long number = std::strtoul(name.c_str() + std::min(digits, name.size()), nullptr, 10);
    return number >= 1 && number <= tunnels_ && name == gre_tunnel_name(static_cast<int>(number - 1));
  }

  void add_if_member(const Site& site, const std::string& name) {
    if (is_bridge_member(&site.context, name)) members_.insert(name);
  }

  std::size_t tunnels_;
  std::unordered_set<std::string> members_;
  std::vector<std::string> known_;
};

}  // namespace

void route_without_interface(const Site& site, Findings& findings) {
  const MissingInterfaces missing(site);
  for (const Json::Value& route : array_at(site.root, "static_routes")) {
    std::string name;
    // A name that is too long for the kernel has a finding of its own.
    if (!is_enabled(route)) continue;
    if (!get_static_route_interface(route, name)) {
      findings.add(place_of(route, "interface"), "the route has no \"interface\"");
    } else if (!site.gets_routes(name) && name.size() < IFNAMSIZ) {
      findings.add(place_of(route, "interface"), missing.reason(name));
    }
  }
}

void route_incomplete(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    if (route.written.has_destination()) continue;
    if (!route.written.ipv4) {
      findings.add(place_of(*route.settings, "ipv4"), "the route has no \"ipv4\"");
    } else {
      findings.add(place_of(*route.settings, "netmask"), "the route has no \"netmask\"");
    }
  }
}

void route_host_bits(const Site& site, Findings& findings) {
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    if (!destination) continue;
    const std::string& given = *route.written.ipv4;
    if (parse_ipv4(given) == destination->address) continue;
    findings.add(place_of(*route.settings, "ipv4"),
                 given + " is an address in " + to_text(*destination) + ", to which the route leads");
  }
}

void route_twice(const Site& site, Findings& findings) {
  std::map<std::tuple<Ipv4, int, int>, std::string> owners;
  for (const StaticRoute& route : site.routes) {
    const std::optional<Subnet> destination = route.destination();
    // Default routes are compared with those of the interfaces.
    if (!destination || destination->prefix == 0) continue;
    const int metric = route.written.metric.value_or(0);
    const auto [owner, is_new] =
        owners.emplace(std::tuple(destination->address, destination->prefix, metric), route.interface_name);
    if (is_new) continue;
    findings.add(place_of(*route.settings, "ipv4"), "there is already a route to " + to_text(*destination) +
                                                        " with metric " + std::to_string(metric) + ", on " +
                                                        owner->second);
  }
}

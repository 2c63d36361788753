#include "cli/lint/reachability.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "cli/lint/ip_network.h"
#include "cli/lint/wireguard_rules.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/wwan.h"
#include "networkd/wwan_static_routes.h"
#include "util/json_path.h"

constexpr Subnet kEverywhere{0, 0};

Reachability::Reachability(const Site& site) {
  add_interfaces(site);
  add_cellular_link(site);
  add_listed_routes(site);
  add_tunnels(site);
  add_wireguard(site);
  add_disabled_ports(site);
  add_disabled_radios(site);
}

// --- Configured addresses and routes

void Reachability::add_own(Ipv4 address, GatewayAddress owner) {
  own_.emplace(address, std::move(owner));
}

// Whether the second of two routes to the same destination replaces the first one.
static bool is_preferred(const Route& second, const Route& first) {
  if (second.metric != first.metric) return second.metric < first.metric;
  return second.destination.prefix == 0 && second.kind == Route::Kind::kTunnel &&
         first.kind == Route::Kind::kUplink;
}

void Reachability::add_route(Route route) {
  if (route.kind == Route::Kind::kUplink) ++uplinks_by_metric_[route.metric];
  const auto [known, is_new] = routes_.add(route.destination, route);
  if (!is_new && is_preferred(route, known)) known = std::move(route);
}

void Reachability::add_connected(const Route& route) {
  connected_.add(route.destination, route);
  add_route(route);
}

void Reachability::add_interfaces(const Site& site) {
  for (const Interface& interface : site.interfaces) {
    // If two interfaces have the same name, only the first one takes effect.
    if (site.find_interface(interface.name) == &interface) add_interface(site, interface);
  }
}

// Why no other host can have the address, whatever the configuration is; nothing if one can.
static std::optional<std::string> why_never_a_host(Ipv4 address) {
  constexpr Ipv4 kLoopback = 127;
  constexpr Ipv4 kFirstMulticast = 224;
  const Ipv4 first_byte = address >> 24;
  if (first_byte == kLoopback) return " is the gateway itself";
  if (first_byte == 0 || first_byte >= kFirstMulticast) return " is not the address of a host";
  return std::nullopt;
}

void Reachability::add_static_address(const Interface& interface) {
  const std::optional<Ipv4> address = parse_ipv4(*interface.unit.ipv4);
  if (!is_read(address)) return;
  const Json::Value& location = location_of(*interface.network, "ipv4");
  add_own(*address, {interface.name, &location});
  if (!interface.unit.gateway && !is_private(*address) && !why_never_a_host(*address))
    add_lost_uplink({&location, interface.name + " has no \"gateway\"", false});
  const bool has_prefix = interface.unit.has_prefix();
  const std::optional<Subnet> subnet =
      subnet_with(*address, has_prefix ? *interface.unit.prefix : prefix_of_class(*address));
  if (!is_read(subnet)) return;
  const Route route{Route::Kind::kConnected, *subnet, 0, interface.name, &location};
  // Other rules report a network whose prefix length systemd-networkd guesses, so no other network is
  // compared with it.
  has_prefix ? add_connected(route) : add_route(route);
}

void Reachability::add_interface(const Site& site, const Interface& interface) {
  constexpr int kDhcpMetric = 1024;
  const NetworkUnit& unit = interface.unit;
  const std::vector<OwnAddress> addresses = site.addresses_of(interface);
  const bool is_passthrough = interface.kind == Interface::Kind::kPassthroughPort;
  has_address_ = has_address_ || is_passthrough || unit.is_dhcp_client || unit.ipv4 || !addresses.empty();
  if (unit.is_dhcp_client) {
    has_dhcp_client_ = true;
    add_route({Route::Kind::kUplink, kEverywhere, unit.metric.value_or(kDhcpMetric), interface.name,
               &location_of(*interface.network, "protocol")});
  } else if (unit.ipv4) {
    add_static_address(interface);
    // Other rules report a gateway that is malformed or unreachable.
    if (unit.gateway) {
      add_route({Route::Kind::kUplink, kEverywhere, unit.metric.value_or(0), interface.name,
                 &location_of(*interface.network, "gateway")});
    }
  }
  for (const OwnAddress& own : addresses) {
    add_own(own.address, {interface.name, own.location});
    add_connected({Route::Kind::kConnected, own.subnet, 0, interface.name, own.location});
  }
}

void Reachability::add_cellular_link(const Site& site) {
  const Json::Value* cell = object_at(site.root, "wireless.cell");
  if (cell != nullptr && !site.context.cell_enabled)
    add_lost_uplink({&location_of(*cell, "enable"), "the cellular link is disabled", true});
  has_cellular_address_ = site.context.cell_enabled && !site.context.passthrough_enabled;
  if (!site.context.cell_enabled && !site.context.passthrough_enabled) return;
  has_address_ = true;
  const int metric = read_wwan_settings(&site.context).metric.value_or(0);
  add_route({Route::Kind::kUplink, kEverywhere, metric, kCellularLink,
             &location_of(site.root, "wireless.cell.enable")});
}

// Adds all enabled static routes, even those that are not written: other rules report them.
void Reachability::add_listed_routes(const Site& site) {
  for (const Json::Value& settings : array_at(site.root, "static_routes")) {
    std::string name;
    if (!is_enabled(settings)) continue;
    const RouteSettings route = read_route_settings(settings);
    const std::optional<Subnet> destination =
        route.has_destination() ? parse_subnet(*route.ipv4, *route.prefix) : std::nullopt;
    if (!get_static_route_interface(settings, name)) is_certain_ = false;
    if (!is_read(destination) || name.empty()) continue;
    const std::string owner = name == kWwanRouteInterface ? kCellularLink : name;
    add_route({Route::Kind::kListed, *destination, route.metric.value_or(0), owner,
               &location_of(settings, "ipv4")});
  }
}

// Adds all enabled tunnels, even those after an incomplete tunnel, which are left out: another rule reports
// that.
void Reachability::add_tunnels(const Site& site) {
  int index = 0;
  for (const Json::Value& settings : array_at(site.root, "tunnels.gre"))
    add_tunnel(index++, settings);
}

void Reachability::add_tunnel(int index, const Json::Value& settings) {
  const GreTunnel tunnel = read_gre_tunnel(index, settings);
  if (!tunnel.is_enabled) return;
  const std::string name = gre_tunnel_name(index);
  if (const auto inner = parse_ipv4(tunnel.inner_local_ip.value_or(""))) {
    const Json::Value& location = location_of(settings, "tunnel_local_ip");
    add_own(*inner, {name, &location, index});
    // An incomplete tunnel has no network.
    const std::optional<Subnet> subnet = subnet_with(*inner, tunnel.has_address() ? tunnel.inner_prefix : 32);
    if (is_read(subnet) && subnet->prefix < 32)
      add_connected({Route::Kind::kConnected, *subnet, 0, name, &location, index});
  }
  for (const Json::Value& network : *tunnel.networks) {
    const std::optional<GreRoute> route = read_gre_route(network);
    const std::optional<Subnet> destination =
        route ? parse_subnet(route->destination, route->prefix) : std::nullopt;
    if (is_read(destination)) {
      add_route({Route::Kind::kTunnel, *destination, 0, name, &location_of(network, "dest_ip"), index});
    }
  }
}

// Parses an IPv4 network; nothing for an IPv6 network or any other string.
static std::optional<Subnet> parse_ipv4_network(const std::string& text) {
  const std::optional<IpNetwork> network = parse_ip_network(text);
  return network ? network->ipv4() : std::nullopt;
}

void Reachability::add_wireguard(const Site& site) {
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    const std::string name = wireguard_link_name(interface.index);
    const Json::Value& location = location_of(*interface.settings, "local_addrs");
    const std::string own = interface.address.value_or("");
    if (const auto address = parse_ipv4(own.substr(0, own.find('/')))) add_own(*address, {name, &location});
    if (const auto subnet = parse_ipv4_network(own))
      add_connected({Route::Kind::kConnected, *subnet, 0, name, &location});
    for (const WireguardPeer& peer : interface.peers) {
      for (const std::string& network : trimmed_networks(peer)) {
        if (const auto subnet = parse_ipv4_network(network)) {
          add_route({Route::Kind::kWireguard, *subnet, 0, name, &location_of(*peer.settings, "allowed_ips")});
        }
      }
    }
  }
}

// --- Disabled interfaces

void Reachability::add_lost_uplink(LostUplink uplink) {
  if (!lost_uplink_) lost_uplink_ = std::move(uplink);
}

// The "enable" of a disabled object, or the object itself if it has none; null if the object is enabled.
static const Json::Value* open_switch(const Json::Value& settings) {
  return is_enabled(settings) ? nullptr : &location_of(settings, "enable");
}

void Reachability::add_disabled(const std::string& name, const Json::Value& network,
                                const Json::Value* location) {
  const NetworkUnit unit = read_network_unit(network);
  if (location != nullptr && (unit.is_dhcp_client || unit.default_gateway()))
    add_lost_uplink({location, name + " is disabled", true});
  const std::optional<Ipv4> address = unit.is_dhcp_client ? std::nullopt : parse_ipv4(unit.ipv4.value_or(""));
  if (location == nullptr || !address) return;
  disabled_addresses_.emplace(*address, DisabledNetwork{name, *address, location});
  const std::optional<Subnet> subnet = subnet_with(*address, unit.prefix.value_or(0));
  if (subnet && subnet->prefix > 0) disabled_.add(*subnet, {name, *address, location});
}

void Reachability::add_disabled_ports(const Site& site) {
  for (const EthernetPort& port : kEthernetPorts) {
    const Json::Value* settings = object_at(site.root, std::string("wired.") + port.name);
    const Json::Value* network = settings != nullptr ? object_at(*settings, "network") : nullptr;
    if (network == nullptr) continue;
    const Json::Value* switch_of_port = open_switch(*settings);
    add_disabled(port.name, *network, switch_of_port);
    add_disabled_vlans(port.name, *network, switch_of_port);
  }
}

void Reachability::add_disabled_vlans(const std::string& port, const Json::Value& network,
                                      const Json::Value* switch_of_port) {
  const Json::Value* list = object_at(network, "advanced.vlan");
  if (list == nullptr) return;
  const Json::Value* outer = switch_of_port != nullptr ? switch_of_port : open_switch(*list);
  for (const Json::Value& vlan : array_at(*list, "networks")) {
    const std::optional<int> vid = number_at(vlan, "vid");
    const Json::Value* own_network = object_at(vlan, "network");
    if (!vid || own_network == nullptr) continue;
    add_disabled(vlan_name(port.c_str(), *vid), *own_network, outer != nullptr ? outer : open_switch(vlan));
  }
}

void Reachability::add_disabled_radios(const Site& site) {
  for (const Radio& radio : kRadios) {
    for (const char* role : {".ap", ".client"}) {
      const Json::Value* settings = object_at(site.root, std::string("wireless.wifi.") + radio.name + role);
      const Json::Value* network = settings != nullptr ? object_at(*settings, "network") : nullptr;
      if (network != nullptr) add_disabled(radio.name, *network, open_switch(*settings));
    }
  }
}

// --- Queries

const Route* Reachability::find(Ipv4 address) const {
  return routes_.find(address);
}

const Route* Reachability::find_network(const Subnet& network) const {
  return routes_.at(network);
}

const Route* Reachability::find_connected(Ipv4 address) const {
  return connected_.find(address);
}

const Route* Reachability::find_connected_around(const Subnet& subnet) const {
  return connected_.find(subnet.address, subnet.prefix);
}

const GatewayAddress* Reachability::find_own(Ipv4 address) const {
  const auto found = own_.find(address);
  return found != own_.end() ? &found->second : nullptr;
}

const DisabledNetwork* Reachability::find_disabled_address(Ipv4 address) const {
  const auto found = disabled_addresses_.find(address);
  return found != disabled_addresses_.end() ? &found->second : nullptr;
}

const Route* Reachability::default_route() const {
  return routes_.at(kEverywhere);
}

bool Reachability::has_uplinks_alike(int metric) const {
  const auto found = uplinks_by_metric_.find(metric);
  return found != uplinks_by_metric_.end() && found->second > 1;
}

bool Reachability::has_address() const {
  return has_address_;
}

bool Reachability::may_have_other_addresses() const {
  return has_dhcp_client_ || has_cellular_address_ || !is_certain_;
}

const std::optional<LostUplink>& Reachability::lost_uplink() const {
  return lost_uplink_;
}

bool Reachability::is_certain() const {
  return is_certain_;
}

void add_if_any(std::optional<Obstacle> obstacle, const Json::Value& location, Findings& findings) {
  if (obstacle) findings.add(location, std::move(obstacle->reason), std::move(obstacle->details));
}

std::optional<Obstacle> Reachability::why_no_other_host(Ipv4 address) const {
  if (const auto reason = why_never_a_host(address)) return Obstacle{to_text(address) + *reason, {}};
  if (const GatewayAddress* own = find_own(address)) {
    return Obstacle{to_text(address) + " is the gateway's own address, on " + own->owner,
                    related_to(*own->location, "the address of " + own->owner)};
  }
  const Route* route = find(address);
  if (route == nullptr || route->kind != Route::Kind::kConnected || route->destination.has_host(address))
    return std::nullopt;
  return Obstacle{obstacle(route->destination, address),
                  related_to(*route->location, "the network of " + route->owner)};
}

std::optional<Obstacle> Reachability::why_unreachable(Ipv4 address) const {
  if (!is_certain_ || !has_address_) return std::nullopt;
  const Route* route = find(address);
  if (route != nullptr && route->destination.prefix > 0) return std::nullopt;
  // A DHCP client may be in the same network.
  const DisabledNetwork* disabled = has_dhcp_client_ ? nullptr : disabled_.find(address);
  if (disabled != nullptr) {
    return Obstacle{
        to_text(address) + " is in the network of " + disabled->interface_name + ", which is disabled",
        related_to(*disabled->location, disabled->interface_name + " is disabled")};
  }
  if (route != nullptr) return std::nullopt;
  Obstacle obstacle{"no interface, route, or uplink leads to " + to_text(address), {}};
  if (lost_uplink_ && !is_private(address))
    obstacle.details = related_to(*lost_uplink_->location, lost_uplink_->reason);
  return obstacle;
}

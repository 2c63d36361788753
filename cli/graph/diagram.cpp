#include "cli/graph/diagram.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "cli/graph/interface_lines.h"
#include "cli/graph/tunnel_boxes.h"
#include "cli/lint/route_rules.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "networkd/ethernet.h"
#include "networkd/network_unit.h"
#include "platform/libcmd.h"

namespace {

// Puts the picture together. What belongs to an interface is found by it.
class Painter {
 public:
  explicit Painter(const Site& site);

  Part picture() const;

 private:
  void sort_tunnels();
  Part part_of(const Interface& interface) const;
  Part port_part(const std::string& name, const Json::Value& settings) const;
  Part member_part(const Json::Value& member) const;
  Part bridge_part() const;
  Part cell_part() const;
  void add_vlans(const std::string& port, Part& part) const;
  void add_tunnels(const Interface* interface, Part& part) const;
  void add_ports(Part& gateway) const;
  void add_radios(Part& gateway) const;

  const Site& site_;
  std::unordered_map<const Interface*, const DhcpServer*> servers_;
  std::unordered_map<const Interface*, std::vector<const StaticRoute*>> routes_;  // null: the cellular link
  std::unordered_map<std::string, std::vector<const Interface*>> vlans_;          // by port
  std::unordered_map<std::string, std::vector<const Interface*>> disabled_vlans_;
  std::unordered_map<const Interface*, std::vector<Part>> tunnels_;
  std::vector<Part> tunnels_over_cell_;
  std::vector<Part> other_tunnels_;
};

}  // namespace

Painter::Painter(const Site& site) : site_(site) {
  for (const DhcpServer& server : site.servers)
    servers_.emplace(server.interface, &server);
  for (const StaticRoute& route : site.routes)
    routes_[route.interface].push_back(&route);
  for (const Interface& interface : site.interfaces) {
    if (interface.kind == Interface::Kind::kVlan) vlans_[interface.port].push_back(&interface);
  }
  for (const Interface& vlan : site.disabled_vlans)
    disabled_vlans_[vlan.port].push_back(&vlan);
  sort_tunnels();
}

void Painter::sort_tunnels() {
  for (TunnelPart& tunnel : tunnel_parts(site_)) {
    std::vector<Part>& place = tunnel.interface != nullptr ? tunnels_[tunnel.interface]
                               : tunnel.is_over_cell && site_.context.cell_enabled ? tunnels_over_cell_
                                                                                   : other_tunnels_;
    place.push_back(std::move(tunnel.part));
  }
}

static void append(const std::vector<Part>& parts, Part& part) {
  part.parts.insert(part.parts.end(), parts.begin(), parts.end());
}

void Painter::add_tunnels(const Interface* interface, Part& part) const {
  const auto tunnels = tunnels_.find(interface);
  if (tunnels != tunnels_.end()) append(tunnels->second, part);
}

// Whether the interface leads out of the site.
static bool is_uplink(const Interface& interface) {
  return interface.unit.is_dhcp_client || interface.unit.default_gateway();
}

Part Painter::part_of(const Interface& interface) const {
  Part part{is_uplink(interface) ? Part::Kind::kUplink : Part::Kind::kLan,
            interface.name,
            description_of(site_, interface),
            {interface.network}};
  add_address_lines(site_, interface, part);
  if (interface.kind == Interface::Kind::kPassthroughPort) {
    add_passthrough_lines(site_, interface, part);
  } else {
    const auto server = servers_.find(&interface);
    add_dhcp_lines(interface, server != servers_.end() ? server->second : nullptr, part);
  }
  const auto routes = routes_.find(&interface);
  if (routes != routes_.end()) add_routes(routes->second, part);
  add_tunnels(&interface, part);
  return part;
}

void Painter::add_vlans(const std::string& port, Part& part) const {
  const auto vlans = vlans_.find(port);
  if (vlans != vlans_.end()) {
    for (const Interface* vlan : vlans->second)
      part.parts.push_back(part_of(*vlan));
  }
  const auto disabled = disabled_vlans_.find(port);
  if (disabled == disabled_vlans_.end()) return;
  for (const Interface* vlan : disabled->second)
    part.parts.push_back({Part::Kind::kAside, vlan->name, "VLAN, off", {vlan->network}});
}

// A port outside the bridge.
Part Painter::port_part(const std::string& name, const Json::Value& settings) const {
  const Interface* interface = site_.find_interface(name);
  Part part{Part::Kind::kAside,
            name,
            read_port_settings(settings).is_enabled ? "port, no address" : "port, off",
            {}};
  if (interface != nullptr) part = part_of(*interface);
  part.places.push_back(&settings);
  add_vlans(name, part);
  return part;
}

// A line for a member that does not join, a box for any other.
Part Painter::member_part(const Json::Value& member) const {
  const std::string name = text_of(member);
  if (site_.find_interface(name) != nullptr) return {Part::Kind::kLine, name, "stays outside", {&member}};
  const Json::Value* port =
      find_ethernet_port(name) != nullptr ? object_at(site_.root, "wired." + name) : nullptr;
  if (port != nullptr) {
    Part part{Part::Kind::kLan, name, "port", {&member, port}};
    add_vlans(name, part);
    return part;
  }
  if (is_wlan_ap_enabled(&site_.context, name.c_str())) {
    const Json::Value& settings = place_of(site_.root, "wireless.wifi." + name + ".ap");
    return {Part::Kind::kLan, name, "access point", {&member, &settings}};
  }
  return {Part::Kind::kLine, name, "does not join", {&member}};
}

Part Painter::bridge_part() const {
  const Interface* interface = site_.find_interface(kBridgeName);
  Part part{Part::Kind::kLan, kBridgeName, "bridge, no address"};
  if (interface != nullptr) part = part_of(*interface);
  part.places.push_back(&place_of(site_.root, "wired.bridge"));
  std::vector<Part> members;
  std::unordered_set<std::string> names;
  for (const Json::Value& member : array_at(site_.root, "wired.bridge.interfaces")) {
    const std::string name = text_of(member);
    const bool is_first = names.insert(name).second;
    members.push_back(is_first ? member_part(member) : Part{Part::Kind::kLine, name, "again", {&member}});
  }
  append(members, part);
  return part;
}

Part Painter::cell_part() const {
  Part link = cellular_link(site_);
  const auto routes = routes_.find(nullptr);
  if (routes != routes_.end()) add_routes(routes->second, link);
  for (const Interface& interface : site_.interfaces) {
    if (interface.kind == Interface::Kind::kPassthroughPort)
      link.parts.push_back(port_part(interface.name, place_of(site_.root, "wired." + interface.name)));
  }
  append(tunnels_over_cell_, link);
  return link;
}

void Painter::add_ports(Part& gateway) const {
  for (const EthernetPort& port : kEthernetPorts) {
    const std::string name = port.name;
    const Json::Value* settings = object_at(site_.root, "wired." + name);
    if (settings == nullptr) continue;
    const Interface* interface = site_.find_interface(name);
    const bool is_passthrough = interface != nullptr && interface->kind == Interface::Kind::kPassthroughPort;
    const bool is_member = is_bridge_member(&site_.context, name);
    if (is_passthrough ? !site_.context.cell_enabled : !is_member)
      gateway.parts.push_back(port_part(name, *settings));
  }
}

void Painter::add_radios(Part& gateway) const {
  for (const Interface& interface : site_.interfaces) {
    const bool is_access_point = interface.kind == Interface::Kind::kAccessPoint;
    if (!is_access_point && interface.kind != Interface::Kind::kWifiClient) continue;
    Part part = part_of(interface);
    const char* role = is_access_point ? ".ap" : ".client";
    part.places.push_back(&place_of(site_.root, "wireless.wifi." + interface.name + role));
    gateway.parts.push_back(std::move(part));
  }
}

// The name servers and the names of hosts, as far as the configuration has any.
static std::optional<Part> names_part(const Site& site) {
  const bool has_link_servers = wants_link_servers(site.root);
  Part names{Part::Kind::kNames, "names", "", {&place_of(site.root, "dns")}};
  Part servers{Part::Kind::kLine, "", "servers", {}};
  for (const Json::Value& server : array_at(site.root, "dns.static"))
    servers.parts.push_back(
        {Part::Kind::kLine, text_of(server), name_server_of(server).empty() ? "left out" : "", {&server}});
  if (has_link_servers)
    servers.text += servers.parts.empty() ? ": the cellular link's" : ": the cellular link's, otherwise";
  if (has_link_servers || !servers.parts.empty()) names.parts.push_back(std::move(servers));
  Part hosts{Part::Kind::kLine, "", "hosts", {&place_of(site.root, "hostnames")}};
  for (const Json::Value& host : array_at(site.root, "hostnames")) {
    const auto [name, address] = read_host_name(host);
    hosts.parts.push_back(
        {Part::Kind::kLine, name.value_or("no name"), address.value_or("no address"), {&host}});
  }
  if (!hosts.parts.empty()) names.parts.push_back(std::move(hosts));
  if (names.parts.empty()) return std::nullopt;
  return names;
}

Part Painter::picture() const {
  const bool routes = is_router(&site_.context);
  Part gateway{Part::Kind::kGateway,
               "gateway",
               routes ? "forwards between its interfaces" : "does not forward between its interfaces",
               {&site_.root}};
  if (site_.context.cell_enabled) gateway.parts.push_back(cell_part());
  add_ports(gateway);
  if (site_.context.bridge_enabled) gateway.parts.push_back(bridge_part());
  add_radios(gateway);
  append(other_tunnels_, gateway);
  if (auto names = names_part(site_)) gateway.parts.push_back(std::move(*names));
  return gateway;
}

// As Part has them. Some are put together in another order: a bridge's own routes and members, for example.
static void put_lines_first(Part& part) {
  std::stable_partition(part.parts.begin(), part.parts.end(),
                        [](const Part& inner) { return !inner.is_box(); });
  for (Part& inner : part.parts)
    put_lines_first(inner);
}

Part picture_of(const Site& site) {
  Part picture = Painter(site).picture();
  put_lines_first(picture);
  return picture;
}

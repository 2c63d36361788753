#include "cli/graph/diagram.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "cli/graph/interface_lines.h"
#include "cli/graph/tunnel_nodes.h"
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

// Groups servers, routes, VLANs and tunnels by their interfaces, and then builds the diagram.
class DiagramBuilder {
 public:
  explicit DiagramBuilder(const Site& site);

  Node diagram() const;

 private:
  void sort_tunnels();
  Node node_of(const Interface& interface) const;
  Node port_node(const std::string& name, const Json::Value& settings) const;
  Node member_node(const Json::Value& member) const;
  Node bridge_node() const;
  Node cell_node() const;
  void add_routes_on(const Interface* interface, Node& node) const;
  std::string vlan_carrier(const std::string& port) const;
  void add_vlans(const std::string& port, Node& node) const;
  void add_tunnels(const Interface* interface, Node& node) const;
  void add_ports(Node& gateway) const;
  void add_radios(Node& gateway) const;

  const DiagramFacts facts_;
  const Site& site_;
  std::unordered_map<const Interface*, const DhcpServer*> servers_;
  std::unordered_map<const Interface*, std::vector<const StaticRoute*>> routes_;  // null: cellular link
  std::unordered_map<std::string, std::vector<const Interface*>> vlans_;          // by port
  std::unordered_map<std::string, std::vector<const Interface*>> disabled_vlans_;
  std::unordered_map<const Interface*, std::vector<Node>> tunnels_;
  std::vector<Node> tunnels_over_cell_;
  std::vector<Node> other_tunnels_;
};

}  // namespace

DiagramBuilder::DiagramBuilder(const Site& site) : facts_(site), site_(site) {
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

void DiagramBuilder::sort_tunnels() {
  for (TunnelNode& tunnel : tunnel_nodes(facts_)) {
    std::vector<Node>& nodes = tunnel.interface != nullptr ? tunnels_[tunnel.interface]
                               : tunnel.is_over_cell && site_.context.cell_enabled ? tunnels_over_cell_
                                                                                   : other_tunnels_;
    nodes.push_back(std::move(tunnel.node));
  }
}

static void append(const std::vector<Node>& children, Node& node) {
  node.children.insert(node.children.end(), children.begin(), children.end());
}

void DiagramBuilder::add_tunnels(const Interface* interface, Node& node) const {
  const auto tunnels = tunnels_.find(interface);
  if (tunnels != tunnels_.end()) append(tunnels->second, node);
}

// Whether the interface has its own default route, valid or not.
static bool is_uplink(const Interface& interface) {
  return interface.unit.is_dhcp_client || interface.unit.default_gateway();
}

static Node::Kind kind_of(const Interface& interface) {
  if (interface.kind == Interface::Kind::kPassthroughPort) return Node::Kind::kPassthrough;
  return is_uplink(interface) ? Node::Kind::kUplink : Node::Kind::kLan;
}

Node DiagramBuilder::node_of(const Interface& interface) const {
  Node node{kind_of(interface), interface.name, description_of(site_, interface), {interface.network}};
  node.internet = facts_.internet_by(*interface.network);
  add_address_lines(facts_, interface, node);
  if (interface.kind == Interface::Kind::kPassthroughPort) {
    add_passthrough_lines(site_, interface, node);
  } else {
    const auto server = servers_.find(&interface);
    add_dhcp_lines(facts_, interface, server != servers_.end() ? server->second : nullptr, node);
  }
  add_routes_on(&interface, node);
  add_tunnels(&interface, node);
  return node;
}

void DiagramBuilder::add_routes_on(const Interface* interface, Node& node) const {
  const auto found = routes_.find(interface);
  if (found == routes_.end()) return;
  add_routes(facts_, found->second, node);
  for (const StaticRoute* route : found->second) {
    const Node::Internet internet = facts_.internet_by(*route->settings);
    if (internet == Node::Internet::kNone || node.kind == Node::Kind::kPassthrough) continue;
    node.internet = std::max(node.internet, internet);
    node.kind = Node::Kind::kUplink;
  }
}

// The interface that carries the VLANs of a port; empty if none does. If the port is a member of the
// bridge, its VLANs are only created if it is the primary member, on top of the bridge.
std::string DiagramBuilder::vlan_carrier(const std::string& port) const {
  if (!is_bridge_member(&site_.context, port)) return port;
  const bool is_primary = port == site_.context.bridge_primary_interface;
  return is_primary && site_.find_interface(kBridgeName) != nullptr ? kBridgeName : "";
}

void DiagramBuilder::add_vlans(const std::string& port, Node& node) const {
  const std::string carrier = vlan_carrier(port);
  const std::string suffix = carrier.empty() || carrier == port ? "" : "@" + carrier;
  const auto vlans = vlans_.find(port);
  if (vlans != vlans_.end()) {
    for (const Interface* vlan : vlans->second) {
      if (carrier.empty()) {
        const std::string why = "VLAN, not created: " + port + " is not the bridge's primary member";
        node.children.push_back({Node::Kind::kAside, vlan->name, why, {vlan->network}});
        continue;
      }
      node.children.push_back(node_of(*vlan));
      node.children.back().name += suffix;
    }
  }
  const auto disabled = disabled_vlans_.find(port);
  if (disabled == disabled_vlans_.end()) return;
  for (const Interface* vlan : disabled->second)
    node.children.push_back({Node::Kind::kAside, vlan->name + suffix, "VLAN, off", {vlan->network}});
}

// The node of a port outside the bridge.
Node DiagramBuilder::port_node(const std::string& name, const Json::Value& settings) const {
  const Interface* interface = site_.find_interface(name);
  Node node{Node::Kind::kAside,
            name,
            read_port_settings(settings).is_enabled ? "port, no address" : "port, off",
            {}};
  if (interface != nullptr) node = node_of(*interface);
  node.locations.push_back(&settings);
  add_vlans(name, node);
  return node;
}

// A line for a member that does not join the bridge, or a box for a member that does.
Node DiagramBuilder::member_node(const Json::Value& member) const {
  const std::string name = text_of(member);
  if (site_.find_interface(name) != nullptr) return {Node::Kind::kLine, name, "stays outside", {&member}};
  const Json::Value* port =
      find_ethernet_port(name) != nullptr ? object_at(site_.root, "wired." + name) : nullptr;
  if (port != nullptr) {
    Node node{Node::Kind::kLan, name, std::string("port in ") + kBridgeName, {&member, port}};
    if (vlan_carrier(name).empty()) add_vlans(name, node);
    return node;
  }
  if (is_wlan_ap_enabled(&site_.context, name.c_str())) {
    const Json::Value& settings = location_of(site_.root, "wireless.wifi." + name + ".ap");
    return {Node::Kind::kLan, name, std::string("access point in ") + kBridgeName, {&member, &settings}};
  }
  return {Node::Kind::kLine, name, "does not join", {&member}};
}

Node DiagramBuilder::bridge_node() const {
  const Interface* interface = site_.find_interface(kBridgeName);
  Node node{Node::Kind::kLan, kBridgeName, "bridge, no address"};
  if (interface != nullptr) node = node_of(*interface);
  node.locations.push_back(&location_of(site_.root, "wired.bridge"));
  std::vector<Node> members;
  std::unordered_set<std::string> names;
  for (const Json::Value& member : array_at(site_.root, "wired.bridge.interfaces")) {
    const std::string name = text_of(member);
    const bool is_first = names.insert(name).second;
    members.push_back(is_first ? member_node(member) : Node{Node::Kind::kLine, name, "again", {&member}});
  }
  append(members, node);
  const std::string& primary = site_.context.bridge_primary_interface;
  if (vlan_carrier(primary) == kBridgeName) add_vlans(primary, node);
  return node;
}

Node DiagramBuilder::cell_node() const {
  Node link = cellular_link(facts_);
  add_routes_on(nullptr, link);
  for (const Interface& interface : site_.interfaces) {
    if (interface.kind == Interface::Kind::kPassthroughPort)
      link.children.push_back(port_node(interface.name, location_of(site_.root, "wired." + interface.name)));
  }
  append(tunnels_over_cell_, link);
  return link;
}

void DiagramBuilder::add_ports(Node& gateway) const {
  for (const EthernetPort& port : kEthernetPorts) {
    const std::string name = port.name;
    const Json::Value* settings = object_at(site_.root, "wired." + name);
    if (settings == nullptr) continue;
    const Interface* interface = site_.find_interface(name);
    const bool is_passthrough = interface != nullptr && interface->kind == Interface::Kind::kPassthroughPort;
    const bool is_member = is_bridge_member(&site_.context, name);
    if (is_passthrough ? !site_.context.cell_enabled : !is_member)
      gateway.children.push_back(port_node(name, *settings));
  }
}

void DiagramBuilder::add_radios(Node& gateway) const {
  for (const Interface& interface : site_.interfaces) {
    const bool is_access_point = interface.kind == Interface::Kind::kAccessPoint;
    if (!is_access_point && interface.kind != Interface::Kind::kWifiClient) continue;
    Node node = node_of(interface);
    const char* role = is_access_point ? ".ap" : ".client";
    node.locations.push_back(&location_of(site_.root, "wireless.wifi." + interface.name + role));
    gateway.children.push_back(std::move(node));
  }
}

static constexpr ListKind kDnsServers = {"DNS servers", nullptr, {"Server", "State"}};
static constexpr ListKind kHosts = {"Host names", nullptr, {"Host name", "Address"}};

// The node with the DNS servers and the host names; nullopt if the configuration has neither.
static std::optional<Node> names_node(const Site& site) {
  const bool has_link_servers = wants_link_servers(site.root);
  Node names{Node::Kind::kNames, "DNS", "", {&location_of(site.root, "dns")}};
  Node servers = list_node(kDnsServers, "servers", {});
  for (const Json::Value& server : array_at(site.root, "dns.static"))
    add_item(servers, {text_of(server), name_server_of(server).empty() ? "ignored" : ""}, server);
  if (has_link_servers)
    servers.text += servers.children.empty() ? ": the cellular link's" : ": the cellular link's, otherwise";
  if (has_link_servers || !servers.children.empty()) names.children.push_back(std::move(servers));
  Node hosts = list_node(kHosts, "hosts", {&location_of(site.root, "hostnames")});
  for (const Json::Value& host : array_at(site.root, "hostnames")) {
    const auto [name, address] = read_host_name(host);
    add_item(hosts, {name.value_or("no name"), address.value_or("no address")}, host);
  }
  if (!hosts.children.empty()) names.children.push_back(std::move(hosts));
  if (names.children.empty()) return std::nullopt;
  return names;
}

Node DiagramBuilder::diagram() const {
  const bool routes = is_router(&site_.context);
  Node gateway{Node::Kind::kGateway,
               "gateway",
               routes ? "forwards between its interfaces" : "does not forward between its interfaces",
               {&site_.root}};
  if (site_.context.cell_enabled) gateway.children.push_back(cell_node());
  add_ports(gateway);
  if (site_.context.bridge_enabled) gateway.children.push_back(bridge_node());
  add_radios(gateway);
  append(other_tunnels_, gateway);
  if (auto names = names_node(site_)) gateway.children.push_back(std::move(*names));
  return gateway;
}

// Moves lines before boxes, as Node requires: for example, lines about members of a bridge are added after
// the boxes of its tunnels.
static void put_lines_first(Node& node) {
  std::stable_partition(node.children.begin(), node.children.end(),
                        [](const Node& inner) { return !inner.is_box(); });
  for (Node& inner : node.children)
    put_lines_first(inner);
}

Node diagram_of(const Site& site) {
  Node diagram = DiagramBuilder(site).diagram();
  put_lines_first(diagram);
  return diagram;
}

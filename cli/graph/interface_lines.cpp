#include "cli/graph/interface_lines.h"

#include <algorithm>
#include <cctype>

#include "cli/lint/dhcp_rules.h"
#include "cli/lint/relay_rules.h"
#include "cli/lint/route_rules.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/dhcp_relay.h"
#include "networkd/wwan.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libcmd.h"
#include "util/json_path.h"

static constexpr ListKind kStaticLeases = {
    "Static leases", "Interface", {"Address", "MAC address", "Host name"}};
static constexpr ListKind kStaticRoutes = {"Static routes", "Interface", {"Destination", "Route"}};

// ", for 12h"; empty without a lease time.
static std::string lease_time_text(const std::optional<std::string>& lease_time) {
  const std::string time = lease_time.value_or("");
  if (time.empty()) return "";
  const bool is_number =
      std::all_of(time.begin(), time.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
  return ", for " + time + (is_number ? " s" : "");
}

static std::string address_text(const Site& site, const Interface& interface) {
  if (interface.kind == Interface::Kind::kPassthroughPort && site.context.passthrough_auto)
    return "the cellular gateway's address";
  if (interface.unit.is_dhcp_client) return "an address from DHCP";
  std::string address = interface.unit.ipv4.value_or("");
  if (address.empty()) return "no address";
  if (!interface.unit.has_prefix()) return address;
  return address + "/" + std::to_string(*interface.unit.prefix);
}

std::string description_of(const Site& site, const Interface& interface) {
  return std::string(word_for(interface.kind)) + ", " + address_text(site, interface);
}

void add_address_lines(const DiagramFacts& facts, const Interface& interface, Node& node) {
  const Site& site = facts.site;
  const Json::Value& network = *interface.network;
  for (const OwnAddress& own : site.addresses_of(interface)) {
    if (own.location != find_path(network, "advanced.enable_secondary_ip")) continue;
    add_line(node, "also " + to_text(own.address) + "/" + std::to_string(own.subnet.prefix), {own.location});
  }
  const std::string metric = facts.metric_text(network, interface.unit.metric);
  if (const auto gateway = interface.unit.default_gateway()) {
    add_line(node, "default route via " + *gateway + metric, {&location_of(network, "gateway")});
  } else if (interface.unit.is_dhcp_client) {
    add_line(node, "default route from DHCP" + metric, {&location_of(network, "metric")});
  }
  if (interface.unit.has_mtu())
    add_line(node, "MTU " + std::to_string(*interface.unit.mtu), {&location_of(network, "advanced.mtu")});
}

void add_passthrough_lines(const Site& site, const Interface& interface, Node& node) {
  static const Json::Value kNone(Json::objectValue);
  const Json::Value* own = object_at(*interface.network, "dhcp");
  const Json::Value& dhcp = own != nullptr ? *own : kNone;
  if (const auto range = passthrough_range(site, interface)) {
    add_line(node,
             "DHCP " + (range->start.empty() ? "?" : range->start) + " to " +
                 (range->end.empty() ? "?" : range->end) + lease_time_text(string_at(dhcp, "leasetime")),
             {&dhcp});
  } else if (serves_passthrough(site, interface)) {
    add_line(node,
             "the device behind it gets the cellular address" + lease_time_text(string_at(dhcp, "leasetime")),
             {&dhcp});
  }
  const std::string fallback = secondary_pair_of(interface.name)->device;
  add_line(node,
           "while the link is down: " + fallback + lease_time_text(string_at(dhcp, "secondary_leasetime")),
           {&location_of(dhcp, "secondary_leasetime")});
}

static void add_server(const DiagramFacts& facts, const DhcpServer& server, Node& node) {
  const DhcpSection& section = server.section;
  if (!server.is_served) {
    add_line(node, "DHCP enabled, but not served", {section.dhcp});
    return;
  }
  add_line(node, "DHCP " + *section.start + " to " + *section.end + lease_time_text(section.lease_time),
           {section.dhcp});
  Node leases =
      list_node(kStaticLeases, "static leases", {&location_of(*section.dhcp, "mac_binding.devices")});
  for (const StaticLease& lease : read_static_leases(*section.dhcp)) {
    add_item(leases,
             {lease.ipv4.value_or("no address"), lease.mac.value_or("no MAC address"),
              facts.host_names(lease.ipv4.value_or(""))},
             *lease.settings);
  }
  if (!leases.children.empty()) node.children.push_back(std::move(leases));
}

void add_dhcp_lines(const DiagramFacts& facts, const Interface& interface, const DhcpServer* server,
                    Node& node) {
  if (server != nullptr) add_server(facts, *server, node);
  if (!is_relay_used(interface)) return;
  const Json::Value& dhcp = *read_dhcp_relay(*interface.network).dhcp;
  std::string text;
  for (const char* key : kRelayServerKeys) {
    if (const auto address = read_relay_server(dhcp, key)) text += (text.empty() ? "" : " and ") + *address;
  }
  add_line(node, "DHCP requests go to " + (text.empty() ? "no server" : text),
           {&location_of(dhcp, "dhcp_relay")});
}

// The destination as a subnet, or as the configuration has it if it is not a valid subnet.
static std::string destination_text(const StaticRoute& route) {
  if (const auto destination = route.destination()) return to_text(*destination);
  return route.written.ipv4.value_or("nowhere") +
         (route.written.prefix ? "/" + std::to_string(*route.written.prefix) : "");
}

void add_routes(const DiagramFacts& facts, const std::vector<const StaticRoute*>& routes, Node& node) {
  Node list = list_node(kStaticRoutes, "static routes", {});
  for (const StaticRoute* route : routes) {
    const auto gateway = written_gateway_of(*route);
    const std::string metric = facts.metric_text(*route->settings, route->written.metric);
    add_item(list, {destination_text(*route), (gateway ? "via " + *gateway : "directly") + metric},
             *route->settings);
  }
  node.children.push_back(std::move(list));
}

Node cellular_link(const DiagramFacts& facts) {
  const Site& site = facts.site;
  const Json::Value& cell = location_of(site.root, "wireless.cell");
  const WwanSettings settings = read_wwan_settings(&site.context);
  Node link{Node::Kind::kUplink, kWwanRouteInterface, "cellular link", {&cell}};
  link.internet = facts.internet_by(cell);
  if (site.context.passthrough_enabled)
    add_line(link, "passes its address on to the device behind " + site.context.passthrough_interface, {});
  // In pass-through mode the metric is always 0, which only matters beside other default routes.
  const std::optional<int> metric = site.context.passthrough_enabled ? std::nullopt : settings.metric;
  add_line(link, "default route" + facts.metric_text(cell, metric), {&location_of(cell, "metric")});
  if (settings.has_prefix())
    add_line(link, "prefix length " + std::to_string(*settings.prefix), {&location_of(cell, "netmask")});
  if (settings.has_mtu()) add_line(link, "MTU " + std::to_string(*settings.mtu), {&location_of(cell, "mtu")});
  return link;
}

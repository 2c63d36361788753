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

// ", metric 50", or empty for one that is not written.
static std::string metric_text(const std::optional<int>& metric) {
  return metric ? ", metric " + std::to_string(*metric) : "";
}

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
    return "the address of the cellular gateway";
  if (interface.unit.is_dhcp_client) return "an address by DHCP";
  std::string address = interface.unit.ipv4.value_or("");
  if (address.empty()) return "no address";
  if (!interface.unit.has_prefix()) return address;
  const std::optional<Subnet> subnet = interface.subnet();
  return subnet ? address + " in " + to_text(*subnet)
                : address + "/" + std::to_string(*interface.unit.prefix);
}

std::string description_of(const Site& site, const Interface& interface) {
  return std::string(word_for(interface.kind)) + ", " + address_text(site, interface);
}

static void add_line(Part& part, std::string text, std::vector<const Json::Value*> places) {
  part.parts.push_back({Part::Kind::kLine, "", std::move(text), std::move(places)});
}

void add_address_lines(const Site& site, const Interface& interface, Part& part) {
  const Json::Value& network = *interface.network;
  for (const OwnAddress& own : site.addresses_of(interface)) {
    if (own.place != find_path(network, "advanced.enable_secondary_ip")) continue;
    add_line(part, "also " + to_text(own.address) + " in " + to_text(own.subnet), {own.place});
  }
  if (const auto gateway = interface.unit.default_gateway()) {
    add_line(part, "default route by " + *gateway + metric_text(interface.unit.metric),
             {&place_of(network, "gateway")});
  }
  if (interface.unit.has_mtu())
    add_line(part, "MTU " + std::to_string(*interface.unit.mtu), {&place_of(network, "advanced.mtu")});
}

void add_passthrough_lines(const Site& site, const Interface& interface, Part& part) {
  static const Json::Value kNone(Json::objectValue);
  const Json::Value* own = object_at(*interface.network, "dhcp");
  const Json::Value& dhcp = own != nullptr ? *own : kNone;
  if (const auto range = passthrough_range(site, interface)) {
    add_line(part,
             "DHCP " + (range->start.empty() ? "?" : range->start) + " to " +
                 (range->end.empty() ? "?" : range->end) + lease_time_text(string_at(dhcp, "leasetime")),
             {&dhcp});
  } else if (serves_passthrough(site, interface)) {
    add_line(part,
             "the device behind it gets the cellular address" + lease_time_text(string_at(dhcp, "leasetime")),
             {&dhcp});
  }
  const std::string fallback = secondary_pair_of(interface.name)->device;
  add_line(part,
           "while the link is down: " + fallback + lease_time_text(string_at(dhcp, "secondary_leasetime")),
           {&place_of(dhcp, "secondary_leasetime")});
}

static Part lease_part(const StaticLease& lease) {
  return {Part::Kind::kLine,
          lease.ipv4.value_or("no address"),
          lease.mac.value_or("no MAC address"),
          {lease.settings}};
}

static void add_server(const DhcpServer& server, Part& part) {
  const DhcpSection& section = server.section;
  if (!server.is_served) {
    add_line(part, "DHCP is enabled, but not served", {section.dhcp});
    return;
  }
  add_line(part, "DHCP " + *section.start + " to " + *section.end + lease_time_text(section.lease_time),
           {section.dhcp});
  Part leases{Part::Kind::kLine, "", "fixed leases", {&place_of(*section.dhcp, "mac_binding.devices")}};
  for (const StaticLease& lease : read_static_leases(*section.dhcp))
    leases.parts.push_back(lease_part(lease));
  if (!leases.parts.empty()) part.parts.push_back(std::move(leases));
}

void add_dhcp_lines(const Interface& interface, const DhcpServer* server, Part& part) {
  if (server != nullptr) add_server(*server, part);
  if (!is_relay_used(interface)) return;
  const Json::Value& dhcp = *read_dhcp_relay(*interface.network).dhcp;
  std::string text;
  for (const char* key : kRelayServerKeys) {
    if (const auto address = read_relay_server(dhcp, key)) text += (text.empty() ? "" : " and ") + *address;
  }
  add_line(part, "DHCP requests go to " + (text.empty() ? "no server" : text),
           {&place_of(dhcp, "dhcp_relay")});
}

// The destination as a subnet, or the words of the configuration when they are no subnet.
static std::string destination_text(const StaticRoute& route) {
  if (const auto destination = route.destination()) return to_text(*destination);
  return route.written.ipv4.value_or("nowhere") +
         (route.written.prefix ? "/" + std::to_string(*route.written.prefix) : "");
}

void add_routes(const std::vector<const StaticRoute*>& routes, Part& part) {
  if (routes.empty()) return;
  Part list{Part::Kind::kLine, "", "static routes"};
  for (const StaticRoute* route : routes) {
    const auto gateway = written_gateway_of(*route);
    list.parts.push_back({Part::Kind::kLine,
                          destination_text(*route),
                          (gateway ? "by " + *gateway : "directly") + metric_text(route->written.metric),
                          {route->settings}});
  }
  part.parts.push_back(std::move(list));
}

Part cellular_link(const Site& site) {
  const Json::Value& cell = place_of(site.root, "wireless.cell");
  const WwanSettings settings = read_wwan_settings(&site.context);
  Part link{Part::Kind::kUplink, kWwanRouteInterface, "cellular link", {&cell}};
  if (site.context.passthrough_enabled) {
    add_line(link, "hands its address on to the device behind " + site.context.passthrough_interface, {});
  } else {
    add_line(link, "default route" + metric_text(settings.metric), {&place_of(cell, "metric")});
  }
  if (settings.has_prefix())
    add_line(link, "prefix length " + std::to_string(*settings.prefix), {&place_of(cell, "netmask")});
  if (settings.has_mtu()) add_line(link, "MTU " + std::to_string(*settings.mtu), {&place_of(cell, "mtu")});
  return link;
}

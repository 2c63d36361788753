#include "cli/lint/site.h"

#include <utility>

#include "cli/lint/reachability.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/passthrough.h"
#include "networkd/ethernet.h"
#include "networkd/wifi.h"
#include "networkd/wwan.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"
#include "util/json_path.h"

Site::Site(Source& from) : source(from), context(std::move(from.root)), root(context.config), owner_(from) {
  add_ports();
  add_bridge();
  add_radios();
  for (const Interface& interface : interfaces)
    interfaces_by_name_.emplace(interface.name, &interface);
  for (const Interface& interface : interfaces)
    add_server(interface, false);
  for (const Interface& vlan : disabled_vlans)
    add_server(vlan, true);
  add_routes();
  add_tunnels();
}

Site::~Site() {
  owner_.root = std::move(context.config);
}

Interface::Interface(Kind kind_, std::string name_, std::string port_, const Json::Value& network_,
                     LanSections sections_)
    : kind(kind_),
      name(std::move(name_)),
      port(std::move(port_)),
      network(&network_),
      unit(read_network_unit(network_)),
      sections(sections_) {}

const char* word_for(Interface::Kind kind) {
  switch (kind) {
    case Interface::Kind::kPort:
      return "port";
    case Interface::Kind::kPassthroughPort:
      return "port in pass-through";
    case Interface::Kind::kVlan:
      return "VLAN";
    case Interface::Kind::kBridge:
      return "bridge";
    case Interface::Kind::kAccessPoint:
      return "access point";
    case Interface::Kind::kWifiClient:
      break;
  }
  return "Wi-Fi client";
}

void Site::add_ports() {
  for (const EthernetPort& each : kEthernetPorts) {
    const std::string name = each.name;
    const Json::Value* settings = object_at(root, "wired." + name);
    if (settings == nullptr) continue;
    const PortSettings port = read_port_settings(*settings);
    if (!port.is_enabled || port.network == nullptr) continue;
    if (!port.is_router) {
      if (context.passthrough_interface == name) add_passthrough_port(name, *port.network);
      continue;
    }
    if (!is_bridge_member(&context, name)) {
      interfaces.emplace_back(Interface::Kind::kPort, name, "", *port.network,
                              read_port_sections(&context, name.c_str()));
    }
    add_vlans(name, *port.network);
  }
}

// Whether the pass-through port is served as a LAN port in some state of the cellular link: without an
// address, with any gateway, or with the port's own address as its gateway.
static bool is_ever_ordinary(const NetworkContext* ctx, const char* port) {
  const auto is_ordinary_with = [&](const char* gateway) {
    return choose_passthrough_section(ctx, port, gateway) == PassthroughSection::kOrdinaryPort;
  };
  return is_ordinary_with(nullptr) || is_ordinary_with("") ||
         is_ordinary_with(secondary_pair_of(port)->gateway);
}

void Site::add_passthrough_port(const std::string& name, const Json::Value& network) {
  LanSections sections;
  // Other rules check its server.
  if (is_ever_ordinary(&context, name.c_str()))
    sections.has_relay = read_port_sections(&context, name.c_str()).has_relay;
  interfaces.emplace_back(Interface::Kind::kPassthroughPort, name, "", network, sections);
  const PassthroughPort port = read_passthrough_port(&context);
  NetworkUnit& unit = interfaces.back().unit;
  unit = NetworkUnit();
  unit.ipv4 = port.address;
  unit.prefix = port.prefix;
}

void Site::add_vlans(const std::string& port, const Json::Value& network) {
  LanSections sections;
  sections.has_server = read_port_sections(&context, port.c_str()).has_vlan_servers;
  for (const Vlan& vlan : read_vlans(object_at(network, "advanced.vlan"))) {
    if (!vlan.is_complete()) continue;
    std::vector<Interface>& vlans = vlan.has_interface() ? interfaces : disabled_vlans;
    vlans.emplace_back(Interface::Kind::kVlan, vlan_name(port.c_str(), *vlan.vid), port, *vlan.network(),
                       sections);
  }
}

void Site::add_bridge() {
  if (!context.bridge_enabled) return;
  const Json::Value* network = object_at(root, bridge_primary_network_path(&context));
  if (network == nullptr) return;
  interfaces.emplace_back(Interface::Kind::kBridge, kBridgeName, "", *network,
                          read_bridge_sections(&context));
}

void Site::add_radios() {
  for (const Radio& radio : kRadios) {
    const std::string name = radio.name;
    const bool has_unit = is_wlan_ap_enabled(&context, name.c_str()) &&
                          read_access_point(&context, name.c_str()).network != nullptr;
    if (has_unit) {
      interfaces.emplace_back(Interface::Kind::kAccessPoint, name, "",
                              *object_at(root, access_point_network_path(name)),
                              read_access_point_sections(&context, name.c_str()));
    }
    const Json::Value* settings = object_at(root, "wireless.wifi." + name + ".client");
    if (settings == nullptr) continue;
    const WifiClient client = read_wifi_client(*settings);
    if (client.has_unit())
      interfaces.emplace_back(Interface::Kind::kWifiClient, name, "", *client.network, LanSections());
  }
}

void Site::add_server(const Interface& interface, bool is_idle) {
  DhcpSection section = read_dhcp_section(*interface.network);
  if (!section.is_enabled) return;
  const bool is_served = section.is_written() && interface.sections.has_server;
  servers.push_back({&interface, std::move(section), is_served, is_idle});
}

void Site::add_routes() {
  for (const Json::Value& route : array_at(root, "static_routes")) {
    std::string name;
    if (!get_static_route_interface(route, name)) continue;
    if (gets_routes(name)) routes.push_back({&route, read_route_settings(route), name, find_interface(name)});
  }
}

void Site::add_tunnels() {
  int index = 0;
  // Like read_gre_tunnels, but without disabled tunnels, of which a file may have very many.
  for (const Json::Value& settings : array_at(root, "tunnels.gre")) {
    GreTunnel tunnel = read_gre_tunnel(index++, settings);
    if (!tunnel.is_enabled) continue;
    if (!tunnel.has_address()) break;
    tunnels.push_back(std::move(tunnel));
  }
  if (const Json::Value* wireguard = object_at(root, "tunnels.wireguard"))
    wireguard_interfaces = read_wireguard_interfaces(*wireguard);
}

const Reachability& Site::reachability() const {
  if (!reachability_) reachability_ = std::make_unique<Reachability>(*this);
  return *reachability_;
}

const Interface* Site::find_interface(const std::string& name) const {
  const auto found = interfaces_by_name_.find(name);
  return found != interfaces_by_name_.end() ? found->second : nullptr;
}

bool Site::gets_routes(const std::string& name) const {
  return find_interface(name) != nullptr || (name == kWwanRouteInterface && context.cell_enabled);
}

static std::optional<OwnAddress> static_address_of(const Interface& interface) {
  const std::optional<Ipv4> address = interface.address();
  // The unit of any other interface omits a prefix length of 32, and systemd-networkd then guesses one.
  const bool has_prefix = interface.kind == Interface::Kind::kPassthroughPort
                              ? interface.unit.prefix.has_value()
                              : interface.unit.has_prefix();
  if (!address || !has_prefix || *interface.unit.prefix == 0) return std::nullopt;
  const std::optional<Subnet> subnet = subnet_with(*address, *interface.unit.prefix);
  if (!subnet) return std::nullopt;
  return OwnAddress{*address, *subnet, &location_of(*interface.network, "ipv4"), false};
}

static std::optional<OwnAddress> secondary_address_of(const NetworkContext& context,
                                                      const Interface& interface) {
  const SecondaryAddress secondary = read_secondary_address(&context, interface.name, *interface.network);
  if (!secondary.is_wanted || secondary.pair == nullptr) return std::nullopt;
  const std::optional<Ipv4> address = parse_ipv4(secondary.pair->gateway);
  const std::optional<Subnet> subnet = subnet_with(*address, netmask_to_cidr(kSecondaryNetmask));
  return OwnAddress{*address, *subnet, &location_of(*interface.network, "advanced.enable_secondary_ip"),
                    true};
}

std::vector<OwnAddress> Site::addresses_of(const Interface& interface) const {
  std::vector<OwnAddress> addresses;
  if (const auto own = static_address_of(interface)) addresses.push_back(*own);
  if (const auto secondary = secondary_address_of(context, interface)) addresses.push_back(*secondary);
  return addresses;
}

bool Site::is_router_port(const std::string& name) const {
  const Json::Value* settings = object_at(root, "wired." + name);
  if (settings == nullptr) return false;
  const PortSettings port = read_port_settings(*settings);
  return port.is_enabled && port.is_router;
}

std::optional<Ipv4> Interface::address() const {
  return unit.ipv4 && !unit.is_dhcp_client ? parse_ipv4(*unit.ipv4) : std::nullopt;
}

std::optional<Subnet> Interface::subnet() const {
  const std::optional<Ipv4> own = address();
  return own ? subnet_with(*own, unit.prefix.value_or(NetworkUnit::kAddressBits)) : std::nullopt;
}

std::optional<Subnet> StaticRoute::destination() const {
  return written.has_destination() ? parse_subnet(*written.ipv4, *written.prefix) : std::nullopt;
}

std::string quoted(const std::string& text) {
  constexpr std::size_t kLongest = 60;
  return '"' + (text.size() > kLongest ? text.substr(0, kLongest) + "..." : text) + '"';
}

const Json::Value& location_of(const Json::Value& object, std::string_view path) {
  const Json::Value* value = find_path(object, path);
  return value != nullptr ? *value : object;
}

#include "cli/lint/site.h"

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/wwan.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"
#include "util/json_path.h"

Site::Site(const Source& from)
    : source(from), root(from.root), violations(find_violations(from.root)), context(root) {
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

void Site::add_ports() {
  for (const EthernetPort& port : kEthernetPorts) {
    const std::string name = port.name;
    const Json::Value* network = object_at(root, wired_network_path(name));
    if (network == nullptr || !is_true(root, "wired." + name + ".enable")) continue;
    if (!is_router_port(name)) {
      if (context.passthrough_interface == name) {
        interfaces.push_back({Interface::Kind::kPassthroughPort, name, "", network});
      }
      continue;
    }
    if (!context.bridge_enabled || !interface_is_bridged(&context, name)) {
      interfaces.push_back({Interface::Kind::kPort, name, "", network});
    }
    add_vlans(name, *network);
  }
}

void Site::add_vlans(const std::string& port, const Json::Value& network) {
  const Json::Value* vlan = object_at(network, "advanced.vlan");
  if (vlan == nullptr || !is_enabled(*vlan)) return;
  for (const Json::Value& entry : array_at(*vlan, "networks")) {
    int vid = 0;
    const Json::Value* own = object_at(entry, "network");
    if (!config_get_int(entry, &vid, "vid") || own == nullptr) continue;
    std::vector<Interface>& vlans = is_enabled(entry) ? interfaces : disabled_vlans;
    vlans.push_back({Interface::Kind::kVlan, port + "." + std::to_string(vid), port, own});
  }
}

void Site::add_bridge() {
  if (!context.bridge_enabled) return;
  const Json::Value* network = object_at(root, bridge_primary_network_path(&context));
  if (network != nullptr) interfaces.push_back({Interface::Kind::kBridge, kBridgeName, "", network});
}

void Site::add_radios() {
  for (const Radio& radio : kRadios) {
    const std::string name = radio.name;
    const bool is_bridged = context.bridge_enabled && interface_is_bridged(&context, name);
    const Json::Value* access_point = object_at(root, access_point_network_path(name));
    if (is_wlan_ap_enabled(&context, name.c_str()) && access_point != nullptr && !is_bridged) {
      interfaces.push_back({Interface::Kind::kAccessPoint, name, "", access_point});
    }
    const Json::Value* client = object_at(root, "wireless.wifi." + name + ".client");
    const Json::Value* network = client != nullptr ? object_at(*client, "network") : nullptr;
    if (network != nullptr && is_enabled(*client)) {
      interfaces.push_back({Interface::Kind::kWifiClient, name, "", network});
    }
  }
}

// Whether dnsmasq gets the server of an interface, as far as the interface decides it.
static bool serves(const NetworkContext* ctx, const Interface& interface) {
  switch (interface.kind) {
    case Interface::Kind::kPort:
      return is_eth_interface_dhcp_enabled(ctx, interface.name.c_str());
    case Interface::Kind::kVlan:
      return is_eth_interface_dhcp_enabled(ctx, interface.port.c_str());
    case Interface::Kind::kBridge:
    case Interface::Kind::kAccessPoint:
      return true;
    case Interface::Kind::kPassthroughPort:
    case Interface::Kind::kWifiClient:
      return false;
  }
  return false;
}

void Site::add_server(const Interface& interface, bool is_idle) {
  DhcpSection section = read_dhcp_section(*interface.network);
  if (!section.is_enabled) return;
  const bool is_served = section.is_written() && serves(&context, interface);
  servers.push_back({&interface, std::move(section), is_served, is_idle});
}

void Site::add_routes() {
  for (const Json::Value& route : array_at(root, "static_routes")) {
    std::string name;
    if (!get_static_route_interface(route, name)) continue;
    if (gets_routes(name)) routes.push_back({&route, name, find_interface(name)});
  }
}

void Site::add_tunnels() {
  for (GreTunnel& tunnel : read_gre_tunnels(root)) {
    if (tunnel.has_address()) tunnels.push_back(std::move(tunnel));
  }
}

const Interface* Site::find_interface(const std::string& name) const {
  const auto found = interfaces_by_name_.find(name);
  return found != interfaces_by_name_.end() ? found->second : nullptr;
}

bool Site::gets_routes(const std::string& name) const {
  return find_interface(name) != nullptr || (name == kWwanRouteInterface && context.cell_enabled);
}

// The subnet of the address and the prefix length at "ipv4" and "netmask"; nothing while one is missing or
// invalid.
static std::optional<Subnet> subnet_in(const Json::Value& object) {
  const std::optional<int> prefix = number_at(object, "netmask");
  return prefix ? parse_subnet(text_at(object, "ipv4").value_or(""), *prefix) : std::nullopt;
}

static std::optional<OwnAddress> static_address_of(const Interface& interface) {
  const std::optional<Ipv4> address = interface.address();
  const std::optional<Subnet> subnet = subnet_in(*interface.network);
  if (!address || !subnet) return std::nullopt;
  if (subnet->prefix == 0) return std::nullopt;
  // An ordinary unit leaves a prefix length of 32 out, and systemd-networkd takes another.
  if (subnet->prefix == 32 && interface.kind != Interface::Kind::kPassthroughPort) return std::nullopt;
  return OwnAddress{*address, *subnet, &place_of(*interface.network, "ipv4")};
}

static std::optional<OwnAddress> secondary_address_of(const NetworkContext& context,
                                                      const Interface& interface) {
  if (!is_true(*interface.network, "advanced.enable_secondary_ip")) return std::nullopt;
  const bool is_bridge = interface.kind == Interface::Kind::kBridge;
  const SecondaryPair* pair =
      secondary_pair_of(is_bridge ? context.bridge_primary_interface : interface.name);
  if (pair == nullptr) return std::nullopt;
  const std::optional<Ipv4> address = parse_ipv4(pair->gateway);
  const std::optional<Subnet> subnet = subnet_with(*address, netmask_to_cidr(kSecondaryNetmask));
  return OwnAddress{*address, *subnet, &place_of(*interface.network, "advanced.enable_secondary_ip")};
}

std::vector<OwnAddress> Site::addresses_of(const Interface& interface) const {
  std::vector<OwnAddress> addresses;
  const bool has_others = interface.kind == Interface::Kind::kPassthroughPort &&
                          read_passthrough_port(&context).address == nullptr;
  const auto own = has_others ? std::nullopt : static_address_of(interface);
  if (own) addresses.push_back(*own);
  if (const auto secondary = secondary_address_of(context, interface)) addresses.push_back(*secondary);
  return addresses;
}

bool Site::is_router_port(const std::string& name) const {
  return is_true(root, "wired." + name + ".enable") &&
         text_at(root, wired_network_path(name) + ".mode") == "router";
}

bool Interface::is_dhcp_client() const {
  return text_at(*network, "protocol") == "dhcp_client";
}

std::optional<Ipv4> Interface::address() const {
  const std::optional<std::string> text = text_at(*network, "ipv4");
  return text && !is_dhcp_client() ? parse_ipv4(*text) : std::nullopt;
}

std::optional<Subnet> Interface::subnet() const {
  const std::optional<Ipv4> own = address();
  int prefix = 32;
  config_get_int(*network, &prefix, "netmask");
  return own ? subnet_with(*own, prefix) : std::nullopt;
}

std::optional<Subnet> StaticRoute::destination() const {
  return subnet_in(*settings);
}

std::optional<std::string> text_at(const Json::Value& object, const std::string& path) {
  std::string text;
  if (!config_get_string(object, text, path)) return std::nullopt;
  return text;
}

std::string quoted(const std::string& text) {
  constexpr std::size_t kLongest = 60;
  return '"' + (text.size() > kLongest ? text.substr(0, kLongest) + "..." : text) + '"';
}

const Json::Value& place_of(const Json::Value& object, std::string_view path) {
  const Json::Value* value = find_path(object, path);
  return value != nullptr ? *value : object;
}

#include "config/interface_queries.h"

#include "config/lookup.h"
#include "config/ports.h"
#include "platform/libcmd.h"
#include "util/format.h"

bool is_eth_interface_enabled(const NetworkContext* ctx, const char* ifname) {
  print_trace(ctx, __func__);
  const EthernetPort* port = find_ethernet_port(ifname);
  return port != nullptr && ctx->*port->enabled;
}

bool is_wlan_ap_enabled(const NetworkContext* ctx, const char* ifname) {
  print_trace(ctx, __func__);
  const Radio* radio = find_radio(ifname);
  return radio != nullptr && ctx->*radio->is_access_point;
}

bool interface_is_bridged(const NetworkContext* ctx, const std::string& ifname) {
  print_trace(ctx, __func__);
  for (const Json::Value& member : ctx->bridge_interfaces) {
    if (has_text(member) && text_of(member) == ifname) return true;
  }
  return false;
}

bool is_bridge_member(const NetworkContext* ctx, const std::string& ifname) {
  return ctx->bridge_enabled && interface_is_bridged(ctx, ifname);
}

bool is_wlan_ap_dhcp_enabled(const NetworkContext* ctx, const char* ifname) {
  print_trace(ctx, __func__);
  return is_true(ctx->config, access_point_network_path(ifname) + ".dhcp.enable");
}

bool is_eth_interface_dhcp_enabled(const NetworkContext* ctx, const char* ifname) {
  print_trace(ctx, __func__);
  const std::string network = wired_network_path(ifname);
  std::string protocol;
  config_get_string(ctx->config, protocol, network + ".protocol");
  return protocol == "static" && is_true(ctx->config, network + ".dhcp.enable");
}

std::string bridge_primary_network_path(const NetworkContext* ctx) {
  const std::string& primary = ctx->bridge_primary_interface;
  const bool is_wired = primary.find("eth") != std::string::npos;
  return is_wired ? wired_network_path(primary) : access_point_network_path(primary);
}

int get_interface_network_node(const NetworkContext* ctx, const char* ifname, std::string& path) {
  print_trace(ctx, __func__);
  const std::string name(ifname);
  // Names are classified by substring, so eth0.100 is wired, too.
  if (name.find("eth") != std::string::npos) {
    path = wired_network_path(name);
  } else if (name.find("wlan") != std::string::npos) {
    path = access_point_network_path(name);
  } else if (name == kBridgeName) {
    path = bridge_primary_network_path(ctx);
  } else {
    return -1;
  }
  return 0;
}

bool is_gre_interface(const NetworkContext* ctx, const char* /*ifname*/) {
  print_trace(ctx, __func__);
  return false;
}

const Json::Value* Vlan::network() const {
  return object_at(*settings, "network");
}

std::string vlan_name(const char* link, int vid) {
  return format("%s.%d", link, vid);
}

std::vector<Vlan> read_vlans(const Json::Value* vlan_config) {
  std::vector<Vlan> vlans;
  if (vlan_config == nullptr || !is_enabled(*vlan_config)) return vlans;
  for (const Json::Value& entry : array_at(*vlan_config, "networks"))
    vlans.push_back({&entry, is_enabled(entry), number_at(entry, "vid")});
  return vlans;
}

#include "networkd/network_unit.h"

#include <syslog.h>

#include <cstring>
#include <vector>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/unit_file.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"
#include "util/child_process.h"
#include "util/open_file.h"
#include "util/subnet.h"

namespace {

// The settings of the interface's own route.
struct RouteSettings {
  int metric = 0;
  std::string gateway;
};

}  // namespace

static void write_mtu(std::FILE* file, const char* ifname, const Json::Value& node) {
  constexpr int kDefaultMtu = 1500;
  int mtu = 0;
  if (!is_true(node, "advanced.mtu_override") || !config_get_int(node, &mtu, "advanced.mtu")) return;
  syslog(LOG_DEBUG, "write link mtu for interface %s", ifname);
  if (mtu != kDefaultMtu && mtu >= 1) std::fprintf(file, "MTUBytes = %d\n\n", mtu);
}

static void write_dhcp_client(const NetworkContext* ctx, std::FILE* file, const char* ifname, int metric) {
  syslog(LOG_DEBUG, "interface %s using dhcp", ifname);
  std::fprintf(file, "DHCP = ipv4\n");
  is_gre_interface(ctx, ifname);  // for its trace line: the answer changes nothing here
  std::fprintf(file, "\n[Route]\n");
  std::fprintf(file, "Gateway = _dhcp\n");
  std::fprintf(file, "\n[DHCPv4]\n");
  if (metric > 0) std::fprintf(file, "RouteMetric = %d\n\n", metric);
}

static void write_static_address(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                                 const Json::Value& node, const RouteSettings& route) {
  std::string ipv4;
  if (!config_get_string(node, ipv4, "ipv4")) {
    syslog(LOG_DEBUG, "%s network interface missing ipv4 config", ifname);
    return;
  }
  syslog(LOG_DEBUG, "%s ipv4 config is %s", ifname, ipv4.c_str());
  int prefix = 0;
  if (config_get_int(node, &prefix, "netmask") && prefix != 32) {
    std::fprintf(file, "Address = %s/%d\n", ipv4.c_str(), prefix);
  } else {
    std::fprintf(file, "Address = %s\n", ipv4.c_str());
  }
  set_packet_forwarding(ctx, file, ifname);
  is_gre_interface(ctx, ifname);  // for its trace line, as above
  std::fprintf(file, "\n[Route]\n");
  if (!route.gateway.empty()) {
    std::fprintf(file, "Gateway = %s\n", route.gateway.c_str());
  } else if (prefix > 0) {
    std::fprintf(file, "Destination = %s\n", subnet_of(ipv4, prefix).c_str());
  }
  if (route.metric > 0) std::fprintf(file, "Metric = %d\n", route.metric);
}

int write_network_unit_file(const NetworkContext* ctx, int order, const char* ifname, const Json::Value& node,
                            bool bridge_master, const char* bridge_primary) {
  print_trace(ctx, __func__);
  OpenFile owner = open_unit_file(ctx, order, ifname, "network");
  if (!owner) return -1;
  std::FILE* file = owner.get();
  syslog(LOG_DEBUG, "write_network_unit_file: %s", ifname);
  std::fprintf(file, "[Match]\nName = %s\n\n", ifname);
  std::fprintf(file, "[Link]\n");
  std::fprintf(file, "RequiredFamilyForOnline = ipv4\n");
  if (bridge_master) std::fprintf(file, "RequiredForOnline = degraded-carrier\n");
  write_mtu(file, ifname, node);

  std::fprintf(file, "\n[Network]\n");
  write_network_vlan_ids(ctx, file, bridge_master ? bridge_primary : ifname, node);
  RouteSettings route;
  config_get_int(node, &route.metric, "metric");
  config_get_string(node, route.gateway, "gateway");
  std::string protocol;
  config_get_string(node, protocol, "protocol");
  if (protocol == "dhcp_client") {
    write_dhcp_client(ctx, file, ifname, route.metric);
  } else {
    write_static_address(ctx, file, ifname, node, route);
  }

  write_network_secondary_ip(ctx, file, ifname, node);
  if (bridge_master) write_bridge_network_vlan_ids(ctx, file, bridge_primary);
  write_static_routes(ctx, file, ifname);
  return owner.close();
}

// The identifiers of the enabled VLANs of an "advanced.vlan" object, in their order; no identifier when the
// object is missing or not enabled.
static std::vector<int> enabled_vlan_ids(const Json::Value* vlan) {
  std::vector<int> vids;
  if (vlan == nullptr || !is_enabled(*vlan)) return vids;
  for (const Json::Value& network : array_at(*vlan, "networks")) {
    int vid = 0;
    if (is_enabled(network) && config_get_int(network, &vid, "vid")) vids.push_back(vid);
  }
  return vids;
}

int write_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* name,
                           const Json::Value& node) {
  print_trace(ctx, __func__);
  for (const int vid : enabled_vlan_ids(object_at(node, "advanced.vlan")))
    std::fprintf(file, "VLAN = %s.%d\n", name, vid);
  return 0;
}

bool is_router(const NetworkContext* ctx) {
  int router = 0;
  return config_get_int(ctx->config, &router, "firewall.general.router") && router != 0;
}

int set_packet_forwarding(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  if (is_router(ctx)) {
    std::fprintf(file, "IPForward = yes\n");
    return 0;
  }
  run_shell(std::string("echo 0 > /proc/sys/net/ipv4/conf/") + ifname + "/forwarding");
  run_shell(std::string("echo 0 > /proc/sys/net/ipv6/conf/") + ifname + "/forwarding");
  run_shell("echo 0 > /proc/sys/net/ipv4/ip_forward");
  // Linux has no such file; the command is harmless and stays.
  run_shell("echo 0 > /proc/sys/net/ipv6/ip_forward");
  return 0;
}

int write_network_secondary_ip(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const Json::Value& node) {
  print_trace(ctx, __func__);
  if (!is_true(node, "advanced.enable_secondary_ip")) return 0;
  const bool is_bridge = std::strcmp(ifname, kBridgeName) == 0;
  const SecondaryPair* pair = secondary_pair_of(is_bridge ? ctx->bridge_primary_interface : ifname);
  if (pair != nullptr) {
    std::fprintf(file, "\n[Address]\nAddress = %s/%d\n", pair->gateway, netmask_to_cidr(kSecondaryNetmask));
  } else if (!is_bridge) {
    syslog(LOG_NOTICE, "no secondary IP for interface %s", ifname);
    return -1;
  }
  return 0;
}

int write_bridge_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* port) {
  print_trace(ctx, __func__);
  for (const int vid :
       enabled_vlan_ids(object_at(ctx->config, wired_network_path(port) + ".advanced.vlan"))) {
    std::fprintf(file, "\n[BridgeVLAN]\nVLAN = %d\n", vid);
    // In every run, not only in a traced one.
    std::printf("[BridgeVLAN]\nVLAN = %d\n", vid);
  }
  return 0;
}

static void write_static_route(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const Json::Value& route) {
  std::fprintf(file, "\n[Route]\n");
  std::string gateway;
  if (config_get_string(route, gateway, "gateway") && is_valid_gateway(ctx, ifname, gateway)) {
    std::fprintf(file, "Gateway = %s\n", gateway.c_str());
    std::fprintf(file, "GatewayOnlink = yes\n");
  }
  std::string ipv4;
  int prefix = 0;
  if (config_get_string(route, ipv4, "ipv4") && config_get_int(route, &prefix, "netmask")) {
    std::fprintf(file, "Destination = %s\n", subnet_of(ipv4, prefix).c_str());
  }
  int metric = 0;
  if (config_get_int(route, &metric, "metric") && metric > 0) std::fprintf(file, "Metric = %d\n", metric);
}

int write_static_routes(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  const auto found = ctx->static_routes.find(ifname);
  if (found == ctx->static_routes.end()) return 0;
  const Json::Value& routes = array_at(ctx->config, "static_routes");
  for (const Json::ArrayIndex index : found->second)
    write_static_route(ctx, file, ifname, routes[index]);
  return 0;
}

bool is_valid_gateway(const NetworkContext* ctx, const char* label, const std::string& gateway) {
  print_trace(ctx, __func__);
  if (!looks_like_address(gateway)) return false;
  if (gateway != "0.0.0.0") return true;
  syslog(LOG_NOTICE, "%s: invalid Gateway IP %s", label, gateway.c_str());
  return false;
}

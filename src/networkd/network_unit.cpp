#include "networkd/network_unit.h"

#include <syslog.h>

#include <cstring>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/unit_file.h"
#include "platform/libvantor.h"
#include "util/child_process.h"
#include "util/format.h"
#include "util/open_file.h"
#include "util/subnet.h"

static std::optional<int> read_metric(const Json::Value& object) {
  const std::optional<int> metric = number_at(object, "metric");
  return metric.value_or(0) > 0 ? metric : std::nullopt;
}

NetworkUnit read_network_unit(const Json::Value& node) {
  NetworkUnit unit;
  if (is_true(node, "advanced.mtu_override")) unit.mtu = number_at(node, "advanced.mtu");
  unit.is_dhcp_client = string_at(node, "protocol") == "dhcp_client";
  unit.metric = read_metric(node);
  unit.ipv4 = string_at(node, "ipv4");
  unit.prefix = number_at(node, "netmask");
  if (!unit.is_dhcp_client) unit.gateway = string_at(node, "gateway");
  if (unit.gateway == "") unit.gateway.reset();
  return unit;
}

static void write_mtu(std::FILE* file, const char* ifname, const NetworkUnit& unit) {
  if (unit.mtu) syslog(LOG_DEBUG, "write link mtu for interface %s", ifname);
  if (unit.has_mtu()) std::fprintf(file, "MTUBytes = %d\n\n", *unit.mtu);
}

static void write_dhcp_client(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                              const NetworkUnit& unit) {
  syslog(LOG_DEBUG, "interface %s using dhcp", ifname);
  is_gre_interface(ctx, ifname);  // for its trace line only
  std::fprintf(file,
               "DHCP = ipv4\n"
               "\n[Route]\n"
               "Gateway = _dhcp\n"
               "\n[DHCPv4]\n");
  if (unit.metric) std::fprintf(file, "RouteMetric = %d\n\n", *unit.metric);
}

static void write_static_address(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                                 const NetworkUnit& unit) {
  if (!unit.ipv4) {
    syslog(LOG_DEBUG, "%s network interface missing ipv4 config", ifname);
    return;
  }
  syslog(LOG_DEBUG, "%s ipv4 config is %s", ifname, unit.ipv4->c_str());
  if (unit.has_prefix()) {
    std::fprintf(file, "Address = %s/%d\n", unit.ipv4->c_str(), *unit.prefix);
  } else {
    std::fprintf(file, "Address = %s\n", unit.ipv4->c_str());
  }
  set_packet_forwarding(ctx, file, ifname);
  is_gre_interface(ctx, ifname);  // for its trace line only
  std::fprintf(file, "\n[Route]\n");
  if (unit.gateway) {
    std::fprintf(file, "Gateway = %s\n", unit.gateway->c_str());
  } else if (unit.prefix.value_or(0) > 0) {
    std::fprintf(file, "Destination = %s\n", subnet_of(*unit.ipv4, *unit.prefix).c_str());
  }
  if (unit.metric) std::fprintf(file, "Metric = %d\n", *unit.metric);
}

int write_network_unit_file(const NetworkContext* ctx, int order, const char* ifname, const Json::Value& node,
                            bool bridge_master, const char* bridge_primary) {
  print_trace(ctx, __func__);
  OpenFile owner = open_unit_file(ctx, order, ifname, "network");
  if (!owner) return -1;
  std::FILE* file = owner.get();
  syslog(LOG_DEBUG, "write_network_unit_file: %s", ifname);
  std::fprintf(file,
               "[Match]\nName = %s\n\n"
               "[Link]\n"
               "RequiredFamilyForOnline = ipv4\n",
               ifname);
  if (bridge_master) std::fprintf(file, "RequiredForOnline = degraded-carrier\n");
  const NetworkUnit unit = read_network_unit(node);
  write_mtu(file, ifname, unit);

  std::fprintf(file, "\n[Network]\n");
  write_network_vlan_ids(ctx, file, bridge_master ? bridge_primary : ifname, node);
  if (unit.is_dhcp_client) {
    write_dhcp_client(ctx, file, ifname, unit);
  } else {
    write_static_address(ctx, file, ifname, unit);
  }

  write_network_secondary_ip(ctx, file, ifname, node);
  if (bridge_master) write_bridge_network_vlan_ids(ctx, file, bridge_primary);
  write_static_routes(ctx, file, ifname);
  return owner.close();
}

int write_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* name,
                           const Json::Value& node) {
  print_trace(ctx, __func__);
  for (const Vlan& vlan : read_vlans(object_at(node, "advanced.vlan"))) {
    if (vlan.has_link()) std::fprintf(file, "VLAN = %s.%d\n", name, *vlan.vid);
  }
  return 0;
}

bool is_router(const NetworkContext* ctx) {
  return number_at(ctx->config, "firewall.general.router").value_or(0) != 0;
}

int set_packet_forwarding(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  if (is_router(ctx)) {
    std::fprintf(file, "IPForward = yes\n");
    return 0;
  }
  run_shell(format("echo 0 > /proc/sys/net/ipv4/conf/%s/forwarding", ifname));
  run_shell(format("echo 0 > /proc/sys/net/ipv6/conf/%s/forwarding", ifname));
  run_shell("echo 0 > /proc/sys/net/ipv4/ip_forward");
  // Linux has no such file; the command is harmless and must stay.
  run_shell("echo 0 > /proc/sys/net/ipv6/ip_forward");
  return 0;
}

SecondaryAddress read_secondary_address(const NetworkContext* ctx, const std::string& ifname,
                                        const Json::Value& node) {
  return {is_true(node, "advanced.enable_secondary_ip"),
          secondary_pair_of(ifname == kBridgeName ? ctx->bridge_primary_interface : ifname)};
}

int write_network_secondary_ip(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const Json::Value& node) {
  print_trace(ctx, __func__);
  const SecondaryAddress address = read_secondary_address(ctx, ifname, node);
  if (!address.is_wanted) return 0;
  if (address.pair != nullptr) {
    std::fprintf(file, "\n[Address]\nAddress = %s/%d\n", address.pair->gateway,
                 netmask_to_cidr(kSecondaryNetmask));
  } else if (std::strcmp(ifname, kBridgeName) != 0) {
    syslog(LOG_NOTICE, "no secondary IP for interface %s", ifname);
    return -1;
  }
  return 0;
}

int write_bridge_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* port) {
  print_trace(ctx, __func__);
  for (const Vlan& vlan : read_vlans(object_at(ctx->config, wired_network_path(port) + ".advanced.vlan"))) {
    if (!vlan.has_link()) continue;
    std::fprintf(file, "\n[BridgeVLAN]\nVLAN = %d\n", *vlan.vid);
    // In every run, not only in traced ones.
    std::printf("[BridgeVLAN]\nVLAN = %d\n", *vlan.vid);
  }
  return 0;
}

static bool is_usable_gateway(const std::string& gateway) {
  return looks_like_address(gateway) && gateway != "0.0.0.0";
}

RouteSettings read_route_settings(const Json::Value& route) {
  const auto gateway = string_at(route, "gateway");
  return {gateway, gateway && is_usable_gateway(*gateway), string_at(route, "ipv4"),
          number_at(route, "netmask"), read_metric(route)};
}

static void write_static_route(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const RouteSettings& route) {
  std::fprintf(file, "\n[Route]\n");
  // For its trace line and log line.
  if (route.gateway) is_valid_gateway(ctx, ifname, *route.gateway);
  if (route.has_gateway) {
    std::fprintf(file, "Gateway = %s\n", route.gateway->c_str());
    std::fprintf(file, "GatewayOnlink = yes\n");
  }
  if (route.has_destination()) {
    std::fprintf(file, "Destination = %s\n", subnet_of(*route.ipv4, *route.prefix).c_str());
  }
  if (route.metric) std::fprintf(file, "Metric = %d\n", *route.metric);
}

int write_static_routes(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  const auto [begin, end] = ctx->static_routes.equal_range(ifname);
  if (begin == end) return 0;
  const Json::Value& routes = array_at(ctx->config, "static_routes");
  for (auto route = begin; route != end; ++route)
    write_static_route(ctx, file, ifname, read_route_settings(routes[route->second]));
  return 0;
}

bool is_valid_gateway(const NetworkContext* ctx, const char* label, const std::string& gateway) {
  print_trace(ctx, __func__);
  if (is_usable_gateway(gateway)) return true;
  if (looks_like_address(gateway)) syslog(LOG_NOTICE, "%s: invalid Gateway IP %s", label, gateway.c_str());
  return false;
}

#include "tunnels/gre.h"

#include <syslog.h>

#include <cstdio>
#include <string>

#include "config/lookup.h"
#include "config/wwan_state.h"
#include "driver/undo.h"
#include "networkd/unit_file.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"
#include "util/open_file.h"

// The local address that stands for the cellular link's current one.
constexpr char kDynamicAddress[] = "dynamic";

std::string gre_tunnel_name(int index) {
  return "gre-tun" + std::to_string(index + 1);
}

static int unit_order(int index) {
  return index + 70;
}

int gre_apply(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  int index = 0;
  for (const Json::Value& tunnel : array_at(ctx->config, "tunnels.gre")) {
    const int result = gre_tun_apply(ctx, index, tunnel);
    if (result != 0) {
      syslog(LOG_INFO, "lanfab failed creating GRE tunnels");
      return result;
    }
    gre_incoming_routes_apply(ctx, index, tunnel);
    ++index;
  }
  return 0;
}

// Writes the "Local =" line of `local_ip`, or logs `unavailable` when the cellular address is asked
// for and not available.
static void write_local(std::FILE* file, const std::string& local_ip, const char* unavailable) {
  std::string address = local_ip;
  if (local_ip == kDynamicAddress) {
    char wwan_ipv4[kIpv4TextSize] = "";
    read_wwan_ipv4(wwan_ipv4);
    if (*wwan_ipv4 == '\0') {
      syslog(LOG_NOTICE, "%s", unavailable);
      return;
    }
    address = wwan_ipv4;
  }
  std::fprintf(file, "Local = %s\n", address.c_str());
}

static void write_tunnel_device(std::FILE* file, const std::string& name, const Json::Value& tunnel) {
  std::string text;
  int mtu = 0;
  std::fprintf(file, "[NetDev]\n");
  if (config_get_string(tunnel, text, "name")) std::fprintf(file, "Description = %s\n", text.c_str());
  std::fprintf(file, "Name = %s\n", name.c_str());
  std::fprintf(file, "Kind = gre\n");
  if (is_true(tunnel, "set_mtu") && config_get_int(tunnel, &mtu, "mtu_size")) {
    std::fprintf(file, "MTUBytes = %d\n", mtu);
  }
  std::fprintf(file, "\n[Tunnel]\n");
  if (config_get_string(tunnel, text, "remote_ip")) std::fprintf(file, "Remote = %s\n", text.c_str());
  if (config_get_string(tunnel, text, "local_ip")) {
    write_local(file, text, "WWAN ip address not available for GRE tunnel");
  }
  if (is_true(tunnel, "copy_dscp")) std::fprintf(file, "CopyDSCP = yes\n");
  std::fprintf(file, "Independent = true\n");
}

// A device unit that cannot be written does not fail the tunnel.
static void write_tunnel_netdev_unit(const NetworkContext* ctx, int index, const Json::Value& tunnel) {
  const std::string name = gre_tunnel_name(index);
  OpenFile file = open_unit_file(ctx, unit_order(index), name.c_str(), "netdev");
  if (!file) return;
  syslog(LOG_INFO, "configure GRE L3 tunnel");
  write_tunnel_device(file.get(), name, tunnel);
  if (file.close() != 0) return;
  // The kernel's fallback device, not the tunnel: every run deletes its tunnels by itself.
  append_clear_interfaces(ctx, "gre0", "gre");
}

static void write_tunnel_route(std::FILE* file, const std::string& gateway, const Json::Value& network) {
  std::string dest_ip;
  int prefix = 0;
  if (!config_get_string(network, dest_ip, "dest_ip") || !config_get_int(network, &prefix, "dest_netmask") ||
      dest_ip.size() < 2) {
    return;
  }
  std::fprintf(file, "\n[Route]\n");
  std::fprintf(file, "Gateway = %s\n", gateway.c_str());
  if (prefix == 32) {
    std::fprintf(file, "Destination = %s\n", dest_ip.c_str());
  } else {
    // Without spaces around the equals sign, unlike every other line.
    std::fprintf(file, "Destination=%s/%d\n", dest_ip.c_str(), prefix);
  }
  std::fprintf(file, "GatewayOnlink = yes\n");
}

static int write_tunnel_network_unit(const NetworkContext* ctx, int index, const Json::Value& tunnel) {
  std::string local_ip;
  int prefix = 0;
  std::string remote_ip;
  if (!config_get_string(tunnel, local_ip, "tunnel_local_ip") ||
      !config_get_int(tunnel, &prefix, "tunnel_netmask") ||
      !config_get_string(tunnel, remote_ip, "tunnel_remote_ip")) {
    return -1;
  }
  const std::string name = gre_tunnel_name(index);
  OpenFile file = open_unit_file(ctx, unit_order(index), name.c_str(), "network");
  if (!file) return -1;
  std::fprintf(file.get(), "[Match]\nName = %s\n\n", name.c_str());
  std::fprintf(file.get(), "[Network]\nAddress = %s/%d\n", local_ip.c_str(), prefix);
  for (const Json::Value& network : array_at(tunnel, "tunnel_networks")) {
    write_tunnel_route(file.get(), remote_ip, network);
  }
  return file.close();
}

int gre_tun_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel) {
  print_trace(ctx, __func__);
  // First and in every case, so that a disabled or changed tunnel disappears from the kernel.
  qelsys("/sbin/ip tunnel del %s", gre_tunnel_name(index).c_str());
  if (!is_enabled(tunnel)) return 0;
  write_tunnel_netdev_unit(ctx, index, tunnel);
  return write_tunnel_network_unit(ctx, index, tunnel);
}

int gre_incoming_routes_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel) {
  print_trace(ctx, __func__);
  const int table = index + 308;
  qelsys("/usr/bin/route_table_flush %d", table);
  if (!is_enabled(tunnel) || !is_true(tunnel, "route_incoming")) return 0;
  std::string gateway;
  if (config_get_string(tunnel, gateway, "incoming_gre_gateway")) {
    qelsys("/usr/bin/route_table_add %d %s %s", table, gre_tunnel_name(index).c_str(), gateway.c_str());
  }
  return 0;
}

int gre_tap_apply(const NetworkContext* ctx, const Json::Value& tunnel) {
  print_trace(ctx, __func__);
  constexpr int kTapUnitOrder = 72;
  OpenFile owner = open_unit_file(ctx, kTapUnitOrder, "gretap0", "netdev");
  if (!owner) return -1;
  std::FILE* file = owner.get();
  syslog(LOG_DEBUG, "configure GRE L3 tunnel");
  // The kind is gre although the name says tap.
  std::fprintf(file, "[NetDev]\nName = gretap0\nKind = gre\n");
  std::string text;
  int number = 0;
  if (is_true(tunnel, "mtu_override") && config_get_int(tunnel, &number, "mtu")) {
    std::fprintf(file, "MTUBytes = %d\n", number);
  }
  // The section's head goes with the remote address: without one, Local and Key stand under [NetDev].
  if (config_get_string(tunnel, text, "peer_ipv4")) {
    std::fprintf(file, "\n[Tunnel]\nRemote = %s\n", text.c_str());
  }
  if (config_get_string(tunnel, text, "local_ipv4")) {
    write_local(file, text, "wwan ip address not available for GRE tunnel");
  }
  if (config_get_int(tunnel, &number, "key")) std::fprintf(file, "Key = %d\n", number);
  return owner.close();
}

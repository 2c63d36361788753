#include "tunnels/gre.h"

#include <syslog.h>

#include <cstdio>

#include "config/lookup.h"
#include "config/wwan_state.h"
#include "driver/undo.h"
#include "networkd/unit_file.h"
#include "platform/libvantor.h"
#include "util/format.h"
#include "util/open_file.h"

std::string gre_tunnel_name(int index) {
  return format("gre-tun%d", index + 1);
}

static int unit_order(int index) {
  return index + 70;
}

std::optional<GreRoute> read_gre_route(const Json::Value& network) {
  const auto destination = string_at(network, "dest_ip");
  const std::optional<int> prefix = number_at(network, "dest_netmask");
  if (!destination || !prefix || destination->size() < 2) return std::nullopt;
  return GreRoute{*destination, *prefix};
}

GreTunnel read_gre_tunnel(int index, const Json::Value& settings) {
  GreTunnel tunnel{};
  tunnel.settings = &settings;
  tunnel.index = index;
  tunnel.is_enabled = is_enabled(settings);
  tunnel.description = string_at(settings, "name");
  if (is_true(settings, "set_mtu")) tunnel.mtu = number_at(settings, "mtu_size");
  tunnel.remote_ip = string_at(settings, "remote_ip");
  tunnel.local_ip = string_at(settings, "local_ip");
  tunnel.copies_dscp = is_true(settings, "copy_dscp");
  tunnel.inner_local_ip = string_at(settings, "tunnel_local_ip");
  const std::optional<int> prefix = number_at(settings, "tunnel_netmask");
  tunnel.inner_prefix = prefix.value_or(0);
  tunnel.inner_remote_ip = string_at(settings, "tunnel_remote_ip");
  if (!tunnel.inner_remote_ip) tunnel.missing_key = "tunnel_remote_ip";
  if (!prefix) tunnel.missing_key = "tunnel_netmask";
  if (!tunnel.inner_local_ip) tunnel.missing_key = "tunnel_local_ip";
  tunnel.networks = &array_at(settings, "tunnel_networks");
  tunnel.routes_incoming = is_true(settings, "route_incoming");
  if (tunnel.routes_incoming) tunnel.incoming_gateway = string_at(settings, "incoming_gre_gateway");
  return tunnel;
}

std::vector<GreTunnel> read_gre_tunnels(const Json::Value& config) {
  std::vector<GreTunnel> tunnels;
  for (const Json::Value& settings : array_at(config, "tunnels.gre")) {
    tunnels.push_back(read_gre_tunnel(static_cast<int>(tunnels.size()), settings));
    if (tunnels.back().is_enabled && !tunnels.back().has_address()) break;
  }
  return tunnels;
}

// Writes the "Local =" line of `local_ip`; logs `unavailable` if that is the cellular address and not
// available.
static void write_local(std::FILE* file, const std::string& local_ip, const char* unavailable) {
  std::string address = local_ip;
  if (local_ip == kGreDynamicAddress) {
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

static void write_tunnel_device(std::FILE* file, const std::string& name, const GreTunnel& tunnel) {
  std::fprintf(file, "[NetDev]\n");
  if (tunnel.description) std::fprintf(file, "Description = %s\n", tunnel.description->c_str());
  std::fprintf(file, "Name = %s\nKind = gre\n", name.c_str());
  if (tunnel.mtu) std::fprintf(file, "MTUBytes = %d\n", *tunnel.mtu);
  std::fprintf(file, "\n[Tunnel]\n");
  if (tunnel.remote_ip) std::fprintf(file, "Remote = %s\n", tunnel.remote_ip->c_str());
  if (tunnel.local_ip) {
    write_local(file, *tunnel.local_ip, "WWAN ip address not available for GRE tunnel");
  }
  if (tunnel.copies_dscp) std::fprintf(file, "CopyDSCP = yes\n");
  std::fprintf(file, "Independent = true\n");
}

// A failure to write the device unit is not a failure of the tunnel.
static void write_tunnel_netdev_unit(const NetworkContext* ctx, const GreTunnel& tunnel) {
  const std::string name = gre_tunnel_name(tunnel.index);
  OpenFile file = open_unit_file(ctx, unit_order(tunnel.index), name.c_str(), "netdev");
  if (!file) return;
  syslog(LOG_INFO, "configure GRE L3 tunnel");
  write_tunnel_device(file.get(), name, tunnel);
  if (file.close() != 0) return;
  // The kernel's fallback device, not the tunnel: every run deletes its own tunnels.
  append_clear_interfaces(ctx, "gre0", "gre");
}

static void write_tunnel_route(std::FILE* file, const std::string& gateway, const GreRoute& route) {
  std::fprintf(file, "\n[Route]\nGateway = %s\n", gateway.c_str());
  if (route.prefix == 32) {
    std::fprintf(file, "Destination = %s\n", route.destination.c_str());
  } else {
    // Without spaces around the equals sign, unlike every other line.
    std::fprintf(file, "Destination=%s/%d\n", route.destination.c_str(), route.prefix);
  }
  std::fprintf(file, "GatewayOnlink = yes\n");
}

static int write_tunnel_network_unit(const NetworkContext* ctx, const GreTunnel& tunnel) {
  if (tunnel.missing_key != nullptr) return -1;
  const std::string name = gre_tunnel_name(tunnel.index);
  OpenFile file = open_unit_file(ctx, unit_order(tunnel.index), name.c_str(), "network");
  if (!file) return -1;
  std::fprintf(file.get(), "[Match]\nName = %s\n\n[Network]\nAddress = %s/%d\n", name.c_str(),
               tunnel.inner_local_ip->c_str(), tunnel.inner_prefix);
  for (const Json::Value& network : *tunnel.networks) {
    if (const auto route = read_gre_route(network))
      write_tunnel_route(file.get(), *tunnel.inner_remote_ip, *route);
  }
  return file.close();
}

static int gre_tun_apply(const NetworkContext* ctx, const GreTunnel& tunnel) {
  print_trace(ctx, __func__);
  // Always first, so that a disabled or changed tunnel disappears from the kernel.
  qelsys("/sbin/ip tunnel del %s", gre_tunnel_name(tunnel.index).c_str());
  if (!tunnel.is_enabled) return 0;
  write_tunnel_netdev_unit(ctx, tunnel);
  return write_tunnel_network_unit(ctx, tunnel);
}

int gre_tun_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel) {
  return gre_tun_apply(ctx, read_gre_tunnel(index, tunnel));
}

static int gre_incoming_routes_apply(const NetworkContext* ctx, const GreTunnel& tunnel) {
  print_trace(ctx, __func__);
  const int table = tunnel.index + 308;
  qelsys("/usr/bin/route_table_flush %d", table);
  if (tunnel.is_enabled && tunnel.incoming_gateway) {
    qelsys("/usr/bin/route_table_add %d %s %s", table, gre_tunnel_name(tunnel.index).c_str(),
           tunnel.incoming_gateway->c_str());
  }
  return 0;
}

int gre_incoming_routes_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel) {
  return gre_incoming_routes_apply(ctx, read_gre_tunnel(index, tunnel));
}

int gre_apply(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  for (const GreTunnel& tunnel : read_gre_tunnels(ctx->config)) {
    const int result = gre_tun_apply(ctx, tunnel);
    if (result != 0) {
      syslog(LOG_INFO, "lanfab failed creating GRE tunnels");
      return result;
    }
    gre_incoming_routes_apply(ctx, tunnel);
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
  // The kind is gre, although the name contains tap.
  std::fprintf(file, "[NetDev]\nName = gretap0\nKind = gre\n");
  const std::optional<int> mtu = number_at(tunnel, "mtu");
  if (mtu && is_true(tunnel, "mtu_override")) std::fprintf(file, "MTUBytes = %d\n", *mtu);
  // The section header is written with the remote address: without one, Local and Key are in [NetDev].
  if (const auto remote = string_at(tunnel, "peer_ipv4")) {
    std::fprintf(file, "\n[Tunnel]\nRemote = %s\n", remote->c_str());
  }
  if (const auto local = string_at(tunnel, "local_ipv4")) {
    write_local(file, *local, "wwan ip address not available for GRE tunnel");
  }
  if (const std::optional<int> key = number_at(tunnel, "key")) std::fprintf(file, "Key = %d\n", *key);
  return owner.close();
}

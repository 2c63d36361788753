#include "networkd/wwan.h"

#include <syslog.h>

#include <cstdlib>
#include <iterator>
#include <string>

#include "config/lookup.h"
#include "config/ports.h"
#include "config/wwan_state.h"
#include "dnsmasq/passthrough.h"
#include "dnsmasq/resolv_conf.h"
#include "driver/post_start_script.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libvantor.h"
#include "tunnels/gre.h"
#include "util/format.h"
#include "util/open_file.h"

// Sorts before every other unit.
constexpr int kWwanUnitOrder = 10;

// The gateway's own addresses on the cellular interface while its address is passed on. They look like
// link-local addresses, but are intentionally outside that range.
constexpr char kPassthroughAddress[] = "169.125.7.209";
constexpr char kPassthroughGateway[] = "169.125.7.210";

namespace {

// The values from the link manager; an empty string means not available.
struct WwanLink {
  char ifname[kWwanInterfaceTextSize] = "";
  char ipv4[kIpv4TextSize] = "";
  char prefix[kWwanPrefixTextSize] = "";
  char mtu[kWwanMtuTextSize] = "";
  char gateway[kIpv4TextSize] = "";
  char dns1[kIpv4TextSize] = "";
  char dns2[kIpv4TextSize] = "";
};

}  // namespace

static WwanLink read_wwan_link() {
  WwanLink link;
  read_wwan_intf(link.ifname);
  read_wwan_ipv4(link.ipv4);
  read_wwan_cidr(link.prefix);
  read_wwan_mtu(link.mtu);
  read_wwan_gw(link.gateway);
  read_wwan_dns1(link.dns1);
  read_wwan_dns2(link.dns2);
  return link;
}

static bool is_available(const WwanLink& link) {
  return *link.ifname != '\0' && *link.ipv4 != '\0' && *link.prefix != '\0' && *link.gateway != '\0';
}

WwanSettings read_wwan_settings(const NetworkContext* ctx) {
  WwanSettings settings;
  if (const Json::Value* cell = object_at(ctx->config, "wireless.cell")) {
    if (is_true(*cell, "netmask_override")) settings.prefix = number_at(*cell, "netmask");
    if (is_true(*cell, "mtu_override")) settings.mtu = number_at(*cell, "mtu");
    settings.metric = number_at(*cell, "metric");
    if (settings.metric.value_or(0) < 0) settings.metric.reset();
  }
  if (ctx->passthrough_enabled) settings.metric = 0;
  return settings;
}

// Returns the port; the last one for an unknown name.
static const EthernetPort& passthrough_port(const NetworkContext* ctx) {
  const EthernetPort* port = find_ethernet_port(ctx->passthrough_interface);
  return port != nullptr ? *port : *std::rbegin(kEthernetPorts);
}

PassthroughPort read_passthrough_port(const NetworkContext* ctx) {
  const EthernetPort& own = passthrough_port(ctx);
  PassthroughPort port{own.name, ctx->unit_order_numbers[own.order], std::nullopt, std::nullopt, false};
  const Json::Value* network = object_at(ctx->config, wired_network_path(port.ifname));
  if (network == nullptr) return port;
  if (!ctx->passthrough_auto) port.address = string_at(*network, "ipv4");
  port.prefix = number_at(*network, "netmask");
  if (!own.takes_empty_address) {
    if (port.address == "") port.address.reset();
    if (port.prefix.value_or(0) <= 0) port.prefix.reset();
  }
  port.has_secondary_ip = is_true(*network, "advanced.enable_secondary_ip");
  return port;
}

// Writes the sections before [Network], which are the same in both units of pass-through mode.
static void write_match_and_link(std::FILE* file, const char* ifname, const WwanLink& link,
                                 const WwanSettings& settings) {
  std::fprintf(file, "[Match]\nName = %s\n", ifname);
  if (settings.has_mtu()) {
    std::fprintf(file, "\n[Link]\nMTUBytes = %d\n", *settings.mtu);
  } else if (*link.mtu != '\0') {
    std::fprintf(file, "\n[Link]\nMTUBytes = %s\n", link.mtu);
  }
}

static void write_router_sections(const NetworkContext* ctx, std::FILE* file, const WwanLink& link,
                                  const WwanSettings& settings) {
  std::fprintf(file, "\n[Network]\n");
  if (settings.has_prefix()) {
    std::fprintf(file, "Address = %s/%d\n", link.ipv4, *settings.prefix);
  } else {
    std::fprintf(file, "Address = %s/%s\n", link.ipv4, link.prefix);
  }
  write_unit_dns(ctx, file, link.dns1, link.dns2);
  std::fprintf(file, "\n[Route]\nGateway = %s\n", link.gateway);
  if (settings.metric) std::fprintf(file, "Metric = %d\n", *settings.metric);
  write_static_routes(ctx, file, kWwanRouteInterface);
}

static void write_passthrough_sections(std::FILE* file, const WwanSettings& settings) {
  std::fprintf(file,
               "\n[Network]\n"
               "Address = %s/24\n"
               "IPv4ProxyARP = yes\n"
               "IPForward = yes\n"
               "DefaultRouteOnDevice = yes\n"
               "\n[Route]\nGateway = %s\n"
               "Metric = %d\n",
               kPassthroughAddress, kPassthroughGateway, settings.metric.value_or(0));
}

// Writes the script that removes the connected route of the port's subnet after systemd-networkd has started.
static void schedule_route_deletion(const NetworkContext* ctx, const PassthroughPort& port) {
  char subnet[24] = "";
  if (get_cidr_subnet(port.address->c_str(), *port.prefix, subnet) != 0) return;
  const std::string command = format("/sbin/ip route delete %s dev %s", subnet, port.ifname);
  write_post_networkd_start_actions_script(ctx, command.c_str());
}

static bool has_dhcp_range(const NetworkContext* ctx, const PassthroughPort& port) {
  const Json::Value* network = object_at(ctx->config, wired_network_path(port.ifname));
  return network != nullptr && read_passthrough_range(*network, *port.address);
}

// Writes the "Address =" line of the port. Returns whether the device behind it needs a host route.
static bool write_port_address(const NetworkContext* ctx, std::FILE* file, const PassthroughPort& port,
                               const WwanSettings& settings) {
  const bool is_overridden = ctx->passthrough_auto && settings.has_prefix();
  std::fprintf(file, "Address = %s/%d\n", port.address->c_str(),
               is_overridden ? *settings.prefix : *port.prefix);
  if (ctx->passthrough_auto || has_dhcp_range(ctx, port)) return false;
  schedule_route_deletion(ctx, port);
  return true;
}

static void write_port_secondary_ip(std::FILE* file, const PassthroughPort& port) {
  if (!port.has_secondary_ip) return;
  std::fprintf(file, "\n[Address]\nAddress = %s/%d\n", secondary_pair_of(port.ifname)->gateway,
               netmask_to_cidr(kSecondaryNetmask));
}

// Writes the unit of the pass-through port. Returns 0 or -1.
static int write_passthrough_port_unit(const NetworkContext* ctx, const WwanLink& link,
                                       const WwanSettings& settings) {
  PassthroughPort port = read_passthrough_port(ctx);
  if (!port.address) port.address = link.gateway;
  if (!port.prefix) port.prefix = static_cast<int>(std::strtol(link.prefix, nullptr, 10));
  OpenFile owner = open_unit_file(ctx, port.order, port.ifname, "network");
  if (!owner) return -1;
  std::FILE* file = owner.get();
  write_match_and_link(file, port.ifname, link, settings);
  std::fprintf(file, "\n[Network]\n");
  const bool needs_host_route = write_port_address(ctx, file, port, settings);
  std::fprintf(file, "IPForward = yes\nIPv4ProxyARP = yes\n");
  write_unit_dns(ctx, file, link.dns1, link.dns2);
  write_port_secondary_ip(file, port);
  if (needs_host_route && *port.prefix != 32) {
    // The device with the cellular address is reached directly on the port.
    std::fprintf(file, "\n[Route]\nDestination = %s/32\nScope = host\n", link.ipv4);
  }
  write_static_routes(ctx, file, port.ifname);
  return owner.close();
}

// Writes the unit of the cellular interface itself. Returns 0 or -1.
static int write_wwan_unit(const NetworkContext* ctx, const WwanLink& link, const WwanSettings& settings) {
  OpenFile file = open_unit_file(ctx, kWwanUnitOrder, link.ifname, "network");
  if (!file) return -1;
  write_match_and_link(file.get(), link.ifname, link, settings);
  if (ctx->passthrough_enabled) {
    syslog(LOG_NOTICE, "configure wwan unit file for pass-through mode");
    write_passthrough_sections(file.get(), settings);
  } else {
    write_router_sections(ctx, file.get(), link, settings);
  }
  return file.close();
}

int init_wwan_interface(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  const WwanLink link = read_wwan_link();
  if (!is_available(link)) {
    syslog(LOG_NOTICE, "wwan network info not available");
    return -1;
  }
  dnsmasq_write_resolv_conf(ctx);
  const WwanSettings settings = read_wwan_settings(ctx);
  if (write_wwan_unit(ctx, link, settings) != 0) {
    syslog(LOG_NOTICE, "error creating wwan network unit file");
    return -1;
  }
  if (!ctx->passthrough_enabled) return gre_apply(ctx);
  syslog(LOG_NOTICE, "configure ethernet unit file for pass-through mode");
  if (write_passthrough_port_unit(ctx, link, settings) != 0) {
    // Only logged: the cellular unit works without it.
    syslog(LOG_NOTICE, "error writing pass-through mode network unit file");
  }
  return 0;
}

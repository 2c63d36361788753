#include "dnsmasq/lan_interface.h"

#include <syslog.h>

#include <string>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "dnsmasq/dhcp_relay.h"
#include "dnsmasq/dhcp_server.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/passthrough.h"
#include "platform/libcmd.h"

// Whether the interface is a member of the enabled bridge; if so, logs it at `priority`.
static bool is_served_by_bridge(const NetworkContext* ctx, const char* ifname, int priority) {
  if (!is_bridge_member(ctx, ifname)) return false;
  syslog(priority, "dnsmasq: %s is in br-lan bridge\n", ifname);
  return true;
}

static void add_lan_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  if (!is_served_by_bridge(ctx, ifname, LOG_NOTICE)) dnsmasq_add_dhcp_server(ctx, file, ifname);
}

// Publishes `hostname`, if it is not null, for the address in the "network" object at `network_path`.
static void add_lan_hostname(const NetworkContext* ctx, const char* hostname,
                             const std::string& network_path) {
  std::string ipv4;
  if (hostname == nullptr || !config_get_string(ctx->config, ipv4, network_path + ".ipv4")) return;
  if (dnsmasq_add_dns_host(ctx, hostname, ipv4.c_str()) != 0) {
    syslog(LOG_NOTICE, "dnsmasq: error writing %s", kHostsFile);
  }
}

static void add_lan_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  if (!is_served_by_bridge(ctx, ifname, LOG_DEBUG)) dnsmasq_add_dhcp_relay(ctx, file, ifname);
}

LanSections read_port_sections(const NetworkContext* ctx, const char* port) {
  const bool serves = is_eth_interface_dhcp_enabled(ctx, port);
  return {serves, serves, true};
}

LanSections read_access_point_sections(const NetworkContext* ctx, const char* ifname) {
  return {is_wlan_ap_dhcp_enabled(ctx, ifname), false, true};
}

LanSections read_bridge_sections(const NetworkContext* ctx) {
  return {ctx->bridge_enabled, false, ctx->bridge_enabled};
}

// Writes the sections, and publishes the host name of an interface with a DHCP server.
static void add_lan_sections(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                             LanSections sections, const char* hostname,
                             std::string (*network_path)(std::string_view)) {
  if (sections.has_server) add_lan_dhcp_server(ctx, file, ifname);
  if (sections.has_vlan_servers) dnsmasq_add_vlan_interfaces(ctx, file, ifname);
  if (sections.has_server) add_lan_hostname(ctx, hostname, network_path(ifname));
  if (sections.has_relay) add_lan_dhcp_relay(ctx, file, ifname);
}

int dnsmasq_add_eth_interface(const NetworkContext* ctx, std::FILE* file, const char* port,
                              const char* hostname) {
  print_trace(ctx, __func__);
  if (!is_eth_interface_enabled(ctx, port)) return 0;
  const bool is_passthrough_port = ctx->passthrough_enabled && ctx->passthrough_interface == port;
  if (is_passthrough_port && dnsmasq_add_passthrough(ctx, file, port)) return 0;
  add_lan_sections(ctx, file, port, read_port_sections(ctx, port), hostname, wired_network_path);
  return 0;
}

int dnsmasq_add_wlan_interface(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const char* hostname) {
  print_trace(ctx, __func__);
  if (!is_wlan_ap_enabled(ctx, ifname)) return 0;
  add_lan_sections(ctx, file, ifname, read_access_point_sections(ctx, ifname), hostname,
                   access_point_network_path);
  return 0;
}

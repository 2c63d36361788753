#include "dnsmasq/lan_interface.h"

#include <syslog.h>

#include "config/interface_queries.h"
#include "dnsmasq/dhcp_relay.h"
#include "dnsmasq/dhcp_server.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "platform/libcmd.h"

// Says so in the log, at `priority`, when it is.
static bool is_served_by_bridge(const NetworkContext* ctx, const char* ifname, int priority) {
  if (!ctx->bridge_enabled || !interface_is_bridged(ctx, ifname)) return false;
  syslog(priority, "dnsmasq: %s is in br-lan bridge\n", ifname);
  return true;
}

void dnsmasq_add_lan_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  if (!is_served_by_bridge(ctx, ifname, LOG_NOTICE)) dnsmasq_add_dhcp_server(ctx, file, ifname);
}

void dnsmasq_add_lan_hostname(const NetworkContext* ctx, const char* hostname, const std::string& ipv4_path) {
  std::string ipv4;
  if (hostname == nullptr || !config_get_string(ctx->config, ipv4, ipv4_path)) return;
  if (dnsmasq_add_dns_host(ctx, hostname, ipv4.c_str()) != 0) {
    syslog(LOG_NOTICE, "dnsmasq: error writing %s", kHostsFile);
  }
}

void dnsmasq_add_lan_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  if (!is_served_by_bridge(ctx, ifname, LOG_DEBUG)) dnsmasq_add_dhcp_relay(ctx, file, ifname);
}

#include "dnsmasq/dhcp_relay.h"

#include <syslog.h>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/wwan_state.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"

int dnsmasq_add_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  std::string path;
  if (get_interface_network_node(ctx, ifname, path) != 0) return -1;
  std::string local_ip;
  const Json::Value* dhcp = object_at(ctx->config, path + ".dhcp");
  if (!config_get_string(ctx->config, local_ip, path + ".ipv4") || dhcp == nullptr ||
      !is_true(*dhcp, "dhcp_relay.enable")) {
    return -1;
  }
  if (dnsmasq_write_dhcp_relay(ctx, file, ifname, *dhcp, "dhcp_relay.relay_server1", local_ip) == 0) {
    syslog(LOG_NOTICE, "configured primary DHCP relay server");
  }
  if (dnsmasq_write_dhcp_relay(ctx, file, ifname, *dhcp, "dhcp_relay.relay_server2", local_ip) == 0) {
    syslog(LOG_NOTICE, "configured secondary DHCP relay server");
  }
  return -1;
}

int dnsmasq_write_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                             const Json::Value& dhcp, const std::string& key, const std::string& local_ip) {
  print_trace(ctx, __func__);
  std::string server;
  if (!config_get_string(dhcp, server, key) || server.size() < 3) {
    syslog(LOG_DEBUG, "write_dhcp_relay: could not read config path: %s\n", key.c_str());
    return -1;
  }
  syslog(LOG_NOTICE, "dhcp relay server %s is %s, local_ip: %s", key.c_str(), server.c_str(),
         local_ip.c_str());
  char server_ip[kIpv4TextSize] = "";
  constexpr int kMaxLength = static_cast<int>(sizeof server_ip) - 1;
  if (domain_ip_to_ip_str(server.c_str(), server_ip, kMaxLength, 0, 0) == 0) {
    std::fprintf(file, kDhcpRelayHeading, ifname);
    std::fprintf(file, "dhcp-relay=%s,%s\n", local_ip.c_str(), server_ip);
  }
  return 0;
}

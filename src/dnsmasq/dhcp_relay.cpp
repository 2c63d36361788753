#include "dnsmasq/dhcp_relay.h"

#include <syslog.h>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/wwan_state.h"
#include "platform/libvantor.h"

DhcpRelay read_dhcp_relay(const Json::Value& network) {
  DhcpRelay relay;
  relay.dhcp = object_at(network, "dhcp");
  relay.is_enabled = relay.dhcp != nullptr && is_true(*relay.dhcp, "dhcp_relay.enable");
  relay.local_ip = string_at(network, "ipv4");
  return relay;
}

std::optional<std::string> read_relay_server(const Json::Value& dhcp, const std::string& key) {
  constexpr std::size_t kShortest = 3;
  const auto server = string_at(dhcp, key);
  return server && server->size() >= kShortest ? server : std::nullopt;
}

int dnsmasq_add_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname) {
  print_trace(ctx, __func__);
  std::string path;
  if (get_interface_network_node(ctx, ifname, path) != 0) return -1;
  const Json::Value* network = object_at(ctx->config, path);
  if (network == nullptr) return -1;
  const DhcpRelay relay = read_dhcp_relay(*network);
  if (!relay.is_written()) return -1;
  const auto write = [&](const char* key) {
    return dnsmasq_write_dhcp_relay(ctx, file, ifname, *relay.dhcp, key, *relay.local_ip) == 0;
  };
  if (write(kRelayServerKeys[0])) syslog(LOG_NOTICE, "configured primary DHCP relay server");
  if (write(kRelayServerKeys[1])) syslog(LOG_NOTICE, "configured secondary DHCP relay server");
  return -1;
}

int dnsmasq_write_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                             const Json::Value& dhcp, const std::string& key, const std::string& local_ip) {
  print_trace(ctx, __func__);
  const auto server = read_relay_server(dhcp, key);
  if (!server) {
    syslog(LOG_DEBUG, "write_dhcp_relay: could not read config path: %s\n", key.c_str());
    return -1;
  }
  syslog(LOG_NOTICE, "dhcp relay server %s is %s, local_ip: %s", key.c_str(), server->c_str(),
         local_ip.c_str());
  char server_ip[kIpv4TextSize] = "";
  constexpr int kMaxLength = static_cast<int>(sizeof server_ip) - 1;
  if (domain_ip_to_ip_str(server->c_str(), server_ip, kMaxLength, 0, 0) == 0) {
    std::fprintf(file, kDhcpRelayHeading, ifname);
    std::fprintf(file, "dhcp-relay=%s,%s\n", local_ip.c_str(), server_ip);
  }
  return 0;
}

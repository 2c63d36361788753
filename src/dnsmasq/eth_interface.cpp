#include "dnsmasq/eth_interface.h"

#include <string>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "dnsmasq/dhcp_server.h"
#include "dnsmasq/lan_interface.h"
#include "dnsmasq/passthrough.h"

int dnsmasq_add_eth_interface(const NetworkContext* ctx, std::FILE* file, const char* port,
                              const char* hostname) {
  print_trace(ctx, __func__);
  if (!is_eth_interface_enabled(ctx, port)) return 0;
  const bool is_passthrough_port = ctx->passthrough_enabled && ctx->passthrough_interface == port;
  if (is_passthrough_port && dnsmasq_add_passthrough(ctx, file, port)) return 0;
  if (is_eth_interface_dhcp_enabled(ctx, port)) {
    dnsmasq_add_lan_dhcp_server(ctx, file, port);
    dnsmasq_add_vlan_interfaces(ctx, file, port);
    dnsmasq_add_lan_hostname(ctx, hostname, std::string("wired.") + port + ".network.ipv4");
  }
  dnsmasq_add_lan_dhcp_relay(ctx, file, port);
  return 0;
}

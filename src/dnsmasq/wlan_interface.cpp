#include "dnsmasq/wlan_interface.h"

#include <string>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "dnsmasq/lan_interface.h"

int dnsmasq_add_wlan_interface(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const char* hostname) {
  print_trace(ctx, __func__);
  if (!is_wlan_ap_enabled(ctx, ifname)) return 0;
  if (is_wlan_ap_dhcp_enabled(ctx, ifname)) {
    dnsmasq_add_lan_dhcp_server(ctx, file, ifname);
    dnsmasq_add_lan_hostname(ctx, hostname, std::string("wireless.wifi.") + ifname + ".ap.network.ipv4");
  }
  dnsmasq_add_lan_dhcp_relay(ctx, file, ifname);
  return 0;
}

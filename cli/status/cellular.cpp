#include "cli/status/cellular.h"

#include "config/wwan_state.h"

// Value that one of the functions of config/wwan_state.h reads.
template <std::size_t Size, typename Read>
static std::string value_of(Read read) {
  char text[Size] = {};
  read(text);
  return text;
}

Cellular read_cellular() {
  Cellular link;
  link.is_connected = is_cell_connected() != 0;
  link.interface = value_of<kWwanInterfaceTextSize>(read_wwan_intf);
  link.address = value_of<kIpv4TextSize>(read_wwan_ipv4);
  link.prefix = value_of<kWwanPrefixTextSize>(read_wwan_cidr);
  link.gateway = value_of<kIpv4TextSize>(read_wwan_gw);
  link.mtu = value_of<kWwanMtuTextSize>(read_wwan_mtu);
  for (const auto read : {read_wwan_dns1, read_wwan_dns2}) {
    const std::string server = value_of<kIpv4TextSize>(read);
    if (!server.empty()) link.name_servers.push_back(server);
  }
  return link;
}

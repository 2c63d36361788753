#pragma once

// The sections of the Ethernet ports and of the Wi-Fi access points. A member of the enabled LAN bridge has
// no section: the bridge's section serves it.

#include <cstdio>

#include "config/network_context.h"

// The sections of an interface that are enabled and complete. Interfaces other than those below, such as
// Wi-Fi clients, have none.
struct LanSections {
  bool has_server = false;
  bool has_vlan_servers = false;  // for each of its VLANs, which do not relay
  bool has_relay = false;
};

// The servers of an enabled port that is not served as the pass-through port, of an enabled access point, and
// of the LAN bridge.
LanSections read_port_sections(const NetworkContext* ctx, const char* port);
LanSections read_access_point_sections(const NetworkContext* ctx, const char* ifname);
LanSections read_bridge_sections(const NetworkContext* ctx);

// Writes the sections of the port "eth0" or "eth1": those of a LAN port, with `hostname` (or null) published
// for its address, or that of the pass-through port. Always returns 0.
int dnsmasq_add_eth_interface(const NetworkContext* ctx, std::FILE* file, const char* port,
                              const char* hostname);

// Writes the sections of the radio "wlan0" or "wlan1" if it is an access point, and publishes `hostname` (or
// null) for its address. Always returns 0.
int dnsmasq_add_wlan_interface(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const char* hostname);

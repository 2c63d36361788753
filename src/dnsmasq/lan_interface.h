#pragma once

// What the sections of an Ethernet port and of a Wi-Fi access point have in common. A member of the enabled
// LAN bridge has no section of its own: the bridge's serves it.

#include <cstdio>
#include <string>

#include "config/network_context.h"

// Writes the DHCP server section, unless the bridge serves the interface.
void dnsmasq_add_lan_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Publishes `hostname`, if there is one, for the address at the dotted path `ipv4_path` of the configuration.
void dnsmasq_add_lan_hostname(const NetworkContext* ctx, const char* hostname, const std::string& ipv4_path);

// Writes the relay lines, unless the interface is a member of the bridge.
void dnsmasq_add_lan_dhcp_relay(const NetworkContext* ctx, std::FILE* file, const char* ifname);

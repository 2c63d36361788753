#pragma once

// The DHCP server sections: address range, lease time, router, netmask, DNS server and fixed leases.

#include <json/json.h>

#include <cstdio>
#include <string>

#include "config/network_context.h"

// The comment in front of a section, with the interface's name. It alone tells the fixed leases of a server
// from the line for a pass-through port.
inline constexpr char kDhcpServerHeading[] = "\n# DHCP server on %s\n";

// Writes the section of the interface from its "network" object of the configuration. Returns 0 when a
// section was written, -1 otherwise.
int dnsmasq_add_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Writes one section: `router` is the interface's own address, which its clients get as router and DNS
// server, `prefix` its prefix length, `dhcp` its "dhcp" object. Returns 0 when written; -1, nothing written,
// when the server is off or has no "start" or "end".
int dnsmasq_write_dhcp_server(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                              const std::string& router, int prefix, const Json::Value& dhcp);

// Writes a section for each VLAN of the port "eth0" or "eth1" that serves DHCP. Always 0.
int dnsmasq_add_vlan_interfaces(const NetworkContext* ctx, std::FILE* file, const char* port);

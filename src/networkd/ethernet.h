#pragma once

// The Ethernet ports: switched off, a routed or bridged LAN port with its VLANs, or a
// bare unit for pass-through.

#include <json/json.h>

#include "config/network_context.h"

// Exists when at least one port is in router mode; other programs of the device look for it.
inline constexpr char kRouterModeMarker[] = "/var/run/ROUTER_MODE";

// What the configuration makes of a port.
struct PortSettings {
  bool is_enabled;
  const Json::Value* network;  // its "network" object; null when there is none
  bool is_router;              // in router mode; in any other it is in pass-through
};

// Reads the port's object of the configuration.
PortSettings read_port_settings(const Json::Value& port_config);

// Applies the port `ifname` ("eth0" or "eth1") from its object of the configuration; `order` begins its
// unit's name. Returns 0, also for a disabled port, which is set down, or -1.
int lanfab_ethernet(const NetworkContext* ctx, int order, const char* ifname, const Json::Value& port_config);

// Writes the units of the port's VLANs from its "advanced.vlan" object. Always 0.
int write_vlan_networks(const NetworkContext* ctx, int order, const char* ifname,
                        const Json::Value& vlan_config);

// Writes the device unit of the VLAN interface `name`. Returns 0, or -1 when it cannot be written.
int write_vlan_netdev_unit_file(const NetworkContext* ctx, int order, const char* name, int vid);

// Starts or stops telnet as the port's "network" object says; leaves it as it is when
// that says nothing. Always 0.
int set_telnet_service(const NetworkContext* ctx, const Json::Value& network_config);

void turn_off_interface(const char* ifname);

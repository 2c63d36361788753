#pragma once

// The Ethernet ports: disabled, a routed or bridged LAN port with its VLANs, or a minimal unit for
// pass-through.

#include <json/json.h>

#include "config/network_context.h"

// A file that exists if at least one port is in router mode; other programs of the device check it.
inline constexpr char kRouterModeMarker[] = "/var/run/ROUTER_MODE";

// A port, as read from the configuration.
struct PortSettings {
  bool is_enabled;
  const Json::Value* network;  // its "network" object; null if there is none
  bool is_router;              // every other mode is pass-through
};

// Reads a port from its object of the configuration.
PortSettings read_port_settings(const Json::Value& port_config);

// Applies the port `ifname` ("eth0" or "eth1") from its object of the configuration; its unit's name begins
// with `order`. Returns 0, also for a disabled port, which is set down, or -1.
int lanfab_ethernet(const NetworkContext* ctx, int order, const char* ifname, const Json::Value& port_config);

// Writes the units of the port's VLANs from its "advanced.vlan" object. Always returns 0.
int write_vlan_networks(const NetworkContext* ctx, int order, const char* ifname,
                        const Json::Value& vlan_config);

// Writes the device unit of the VLAN interface `name`. Returns 0, or -1 if it cannot be written.
int write_vlan_netdev_unit_file(const NetworkContext* ctx, int order, const char* name, int vid);

// Starts or stops telnet according to the port's "network" object; does nothing without such a setting.
// Always returns 0.
int set_telnet_service(const NetworkContext* ctx, const Json::Value& network_config);

void turn_off_interface(const char* ifname);

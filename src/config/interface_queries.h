#pragma once

// Queries about one interface, answered from the context. None of them changes or logs anything.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "config/network_context.h"

// The name of the LAN bridge.
inline constexpr char kBridgeName[] = "br-lan";

// Whether the port is enabled; false if the name is not a port.
bool is_eth_interface_enabled(const NetworkContext* ctx, const char* ifname);

// Whether the radio is an access point; false if the name is not a radio.
bool is_wlan_ap_enabled(const NetworkContext* ctx, const char* ifname);

// Whether the name is in the bridge's member list, even if the bridge is disabled.
bool interface_is_bridged(const NetworkContext* ctx, const std::string& ifname);

// Whether the bridge is enabled and the name is in its member list.
bool is_bridge_member(const NetworkContext* ctx, const std::string& ifname);

// Whether the access point has a DHCP server.
bool is_wlan_ap_dhcp_enabled(const NetworkContext* ctx, const char* ifname);

// Whether the port has a DHCP server; only a port with a static address can have one.
bool is_eth_interface_dhcp_enabled(const NetworkContext* ctx, const char* ifname);

// Stores in `path` the dotted path of the interface's "network" object: that of a wired port, of an access
// point, or, for the bridge, of its primary member. Returns 0; -1 for any other name, leaving `path`
// unchanged.
int get_interface_network_node(const NetworkContext* ctx, const char* ifname, std::string& path);

// Returns the dotted path of the "network" object of the bridge's primary member: a wired port if its name
// contains "eth", otherwise an access point.
std::string bridge_primary_network_path(const NetworkContext* ctx);

// Always false: a tunnel's [Route] section is written like any other.
bool is_gre_interface(const NetworkContext* ctx, const char* ifname);

// An entry of a port's VLAN list.
struct Vlan {
  const Json::Value* settings;
  bool is_enabled;
  std::optional<int> vid;

  // Its "network" object; null if there is none.
  const Json::Value* network() const;
  // Whether it has an ID and a "network" object: then dnsmasq gets its DHCP server, even if the VLAN is
  // disabled.
  bool is_complete() const {
    return vid && network() != nullptr;
  }
  // Whether its port carries this VLAN.
  bool has_link() const {
    return is_enabled && vid;
  }
  // Whether it gets an interface.
  bool has_interface() const {
    return is_enabled && is_complete();
  }
};

// Returns the name of the VLAN interface `vid` on the port or the bridge `link`.
std::string vlan_name(const char* link, int vid);

// Returns the entries of an "advanced.vlan" object; none if it is null or not enabled.
std::vector<Vlan> read_vlans(const Json::Value* vlan_config);

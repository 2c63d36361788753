#pragma once

// Questions about one interface, answered from the context; none of them changes or logs anything.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "config/network_context.h"

// The name of the LAN bridge.
inline constexpr char kBridgeName[] = "br-lan";

// Whether the port is enabled; false for a name that is not one of a port.
bool is_eth_interface_enabled(const NetworkContext* ctx, const char* ifname);

// Whether the radio is an access point; false for a name that is not one of a radio.
bool is_wlan_ap_enabled(const NetworkContext* ctx, const char* ifname);

// Whether the name is in the bridge's member list, be the bridge enabled or not.
bool interface_is_bridged(const NetworkContext* ctx, const std::string& ifname);

// Whether the bridge is enabled and has the name in that list.
bool is_bridge_member(const NetworkContext* ctx, const std::string& ifname);

// Whether the access point serves DHCP.
bool is_wlan_ap_dhcp_enabled(const NetworkContext* ctx, const char* ifname);

// Whether the port serves DHCP: only one with a static address does.
bool is_eth_interface_dhcp_enabled(const NetworkContext* ctx, const char* ifname);

// Stores in `path` the dotted path of the interface's "network" object: that of a wired port, of an access
// point, or, for the bridge, of its primary member. Returns 0, or -1 for any other name, `path` left alone.
int get_interface_network_node(const NetworkContext* ctx, const char* ifname, std::string& path);

// The dotted path of the "network" object of the bridge's primary member: a wired port when its name contains
// "eth", an access point otherwise.
std::string bridge_primary_network_path(const NetworkContext* ctx);

// False for every name: a tunnel's [Route] section is written as any other's.
bool is_gre_interface(const NetworkContext* ctx, const char* ifname);

// An entry of a port's VLAN list.
struct Vlan {
  const Json::Value* settings;
  bool is_enabled;
  std::optional<int> vid;

  // Its "network" object; null when there is none.
  const Json::Value* network() const;
  // Whether it has an identifier and a "network" object: dnsmasq gets its DHCP server, enabled or not.
  bool is_complete() const {
    return vid && network() != nullptr;
  }
  // Whether its port carries it.
  bool has_link() const {
    return is_enabled && vid;
  }
  // Whether there is an interface for it.
  bool has_interface() const {
    return is_enabled && is_complete();
  }
};

// The name of the VLAN interface `vid` on the port or the bridge `link`.
std::string vlan_name(const char* link, int vid);

// The entries of an "advanced.vlan" object; none when it is null or not enabled.
std::vector<Vlan> read_vlans(const Json::Value* vlan_config);

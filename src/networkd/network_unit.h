#pragma once

// The .network unit of one interface, from its "network" object of the configuration.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>

#include "config/network_context.h"
#include "config/ports.h"

// The settings of a unit, as read from a "network" object.
struct NetworkUnit {
  std::optional<int> mtu;  // as configured; see has_mtu
  bool is_dhcp_client = false;
  std::optional<int> metric;  // of the interface's own route, or of a DHCP client's; greater than 0
  // Settings of a static address.
  std::optional<std::string> ipv4;
  std::optional<int> prefix;
  std::optional<std::string> gateway;  // not empty; unset for a DHCP client

  // Whether the unit sets the MTU: only if it is not the usual one.
  bool has_mtu() const {
    return mtu.value_or(kUsualMtu) != kUsualMtu && *mtu >= 1;
  }
  // Whether the address has a prefix length: only one shorter than the address is written.
  bool has_prefix() const {
    return prefix.value_or(kAddressBits) != kAddressBits;
  }
  // The gateway of the default route; unset for a unit without one.
  std::optional<std::string> default_gateway() const {
    return ipv4 ? gateway : std::nullopt;
  }

  static constexpr int kUsualMtu = 1500;
  static constexpr int kAddressBits = 32;
};

NetworkUnit read_network_unit(const Json::Value& node);

// The secondary address of an interface.
struct SecondaryAddress {
  bool is_wanted;
  const SecondaryPair* pair;  // null if the interface has none
};

SecondaryAddress read_secondary_address(const NetworkContext* ctx, const std::string& ifname,
                                        const Json::Value& node);

// An element of "static_routes", as read from the configuration.
struct RouteSettings {
  std::optional<std::string> gateway;  // as configured
  bool has_gateway;                    // whether the route uses the gateway; otherwise it is on-link
  std::optional<std::string> ipv4;
  std::optional<int> prefix;
  std::optional<int> metric;  // greater than 0

  bool has_destination() const {
    return ipv4 && prefix;
  }
};

RouteSettings read_route_settings(const Json::Value& route);

// Writes the complete unit <order>-<ifname>.network from `node`, the interface's "network" object.
// `bridge_master` is true only for the LAN bridge's own unit; `bridge_primary` is then the member whose VLANs
// the bridge carries, otherwise null. Returns 0, or -1 if the unit file cannot be written.
int write_network_unit_file(const NetworkContext* ctx, int order, const char* ifname, const Json::Value& node,
                            bool bridge_master, const char* bridge_primary);

// Writes a "VLAN =" line for each VLAN of `node` on the link `name`. Always returns 0.
int write_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* name,
                           const Json::Value& node);

// Whether the device forwards between its interfaces: "firewall.general.router" is not 0.
bool is_router(const NetworkContext* ctx);

// Writes the forwarding line if the device forwards; otherwise disables forwarding in the kernel immediately,
// and writes nothing. Always returns 0.
int set_packet_forwarding(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Writes the [Address] section of the secondary address if `node` enables it. Returns 0, or -1 with a log
// line for an interface that has no secondary address.
int write_network_secondary_ip(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const Json::Value& node);

// Writes a [BridgeVLAN] section for each VLAN of the wired port `port`, and prints it, too. Always returns 0.
int write_bridge_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* port);

// Writes a [Route] section for each enabled static route of the configuration on `ifname`. Always returns 0.
int write_static_routes(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Whether the gateway may be used. False if the string is too short for an address and, with a log line that
// begins with `label`, for "0.0.0.0".
bool is_valid_gateway(const NetworkContext* ctx, const char* label, const std::string& gateway);

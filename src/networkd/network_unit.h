#pragma once

// The .network unit of one interface, from its "network" object of the configuration.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>

#include "config/network_context.h"
#include "config/ports.h"

// What a "network" object makes of its unit.
struct NetworkUnit {
  std::optional<int> mtu;  // that the configuration asks for; see has_mtu
  bool is_dhcp_client = false;
  std::optional<int> metric;  // of the interface's own route, or of a DHCP client's; greater than 0
  // Of a static address.
  std::optional<std::string> ipv4;
  std::optional<int> prefix;
  std::optional<std::string> gateway;  // not empty; none for a DHCP client

  // Whether the unit sets the MTU: only one that is not the usual one.
  bool has_mtu() const {
    return mtu.value_or(kUsualMtu) != kUsualMtu && *mtu >= 1;
  }
  // Whether the address has its prefix length: only one that is shorter than the address.
  bool has_prefix() const {
    return prefix.value_or(kAddressBits) != kAddressBits;
  }
  // The gateway of the default route; nothing for a unit without one.
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
  const SecondaryPair* pair;  // null for an interface without one
};

SecondaryAddress read_secondary_address(const NetworkContext* ctx, const std::string& ifname,
                                        const Json::Value& node);

// What the configuration makes of an element of "static_routes".
struct RouteSettings {
  std::optional<std::string> gateway;  // as the configuration has it
  bool has_gateway;                    // whether the route leads there, and not straight to its interface
  std::optional<std::string> ipv4;
  std::optional<int> prefix;
  std::optional<int> metric;  // greater than 0

  bool has_destination() const {
    return ipv4 && prefix;
  }
};

RouteSettings read_route_settings(const Json::Value& route);

// Writes the whole unit <order>-<ifname>.network from `node`, the interface's "network" object.
// `bridge_master` is true for the LAN bridge's own unit only; `bridge_primary` is then the member whose VLANs
// the bridge carries, and null otherwise. Returns 0, or -1 when the unit file cannot be written.
int write_network_unit_file(const NetworkContext* ctx, int order, const char* ifname, const Json::Value& node,
                            bool bridge_master, const char* bridge_primary);

// Writes a "VLAN =" line for each VLAN of `node` that rides on the link `name`. Always 0.
int write_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* name,
                           const Json::Value& node);

// Whether the device routes between its interfaces: "firewall.general.router" is not 0.
bool is_router(const NetworkContext* ctx);

// Writes the forwarding line when the device routes; otherwise switches forwarding off in the kernel, at
// once, and writes nothing. Always 0.
int set_packet_forwarding(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// Writes the [Address] section of the secondary address when `node` asks for one. Returns 0, or -1 with a log
// line for an interface that has no secondary address.
int write_network_secondary_ip(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const Json::Value& node);

// Writes a [BridgeVLAN] section for each VLAN of the wired port `port`, and prints it as well. Always 0.
int write_bridge_network_vlan_ids(const NetworkContext* ctx, std::FILE* file, const char* port);

// Writes a [Route] section for each enabled static route of the configuration on `ifname`. Always 0.
int write_static_routes(const NetworkContext* ctx, std::FILE* file, const char* ifname);

// False for a text too short to be an address and, with a log line that begins with `label`, for "0.0.0.0".
bool is_valid_gateway(const NetworkContext* ctx, const char* label, const std::string& gateway);

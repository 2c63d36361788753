#pragma once

// GRE tunnels. The tunnel at position `index` of "tunnels.gre" is gre-tun<index + 1>; the names of its units
// begin with index + 70, and the routing table index + 308 can route replies to traffic from the tunnel back
// through it.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "config/network_context.h"

// Returns the name of the interface of the tunnel at position `index`.
std::string gre_tunnel_name(int index);

// The value of "local_ip" for the cellular link's current address.
inline constexpr char kGreDynamicAddress[] = "dynamic";

// A route into a network behind a tunnel.
struct GreRoute {
  std::string destination;
  int prefix;
};

// A tunnel, as read from the configuration.
struct GreTunnel {
  const Json::Value* settings;
  int index;
  bool is_enabled;
  // Settings of the device unit, which every enabled tunnel gets.
  std::optional<std::string> description;
  std::optional<int> mtu;
  std::optional<std::string> remote_ip;
  std::optional<std::string> local_ip;
  bool copies_dscp;
  // Settings of the network unit. It is not written if a key is missing; this is the first missing key.
  const char* missing_key;
  std::optional<std::string> inner_local_ip;
  int inner_prefix;
  std::optional<std::string> inner_remote_ip;
  const Json::Value* networks;  // an array or null; see read_gre_route
  // Replies to traffic from the tunnel are routed through it, via the gateway, if there is one.
  bool routes_incoming;
  std::optional<std::string> incoming_gateway;

  // Whether the network unit is written.
  bool has_address() const {
    return is_enabled && missing_key == nullptr;
  }
};

// Reads the tunnel at position `index`.
GreTunnel read_gre_tunnel(int index, const Json::Value& settings);

// Returns the tunnels that a run configures: it stops after the first enabled one with a missing key.
std::vector<GreTunnel> read_gre_tunnels(const Json::Value& config);

// Returns the route into an element of "tunnel_networks"; nothing if it gets none.
std::optional<GreRoute> read_gre_route(const Json::Value& network);

// Applies every tunnel of the configuration. It may be called twice, since each tunnel is deleted first.
// Returns 0, or the result of the first tunnel that failed: that one and the following ones are then not
// configured.
int gre_apply(const NetworkContext* ctx);

// Deletes the tunnel from the kernel and, if it is enabled, writes its two units. Returns 0, or -1 if a
// required inner setting is missing or the network unit cannot be written.
int gre_tun_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel);

// Empties the tunnel's routing table and, if the tunnel uses it, fills it. Always returns 0.
int gre_incoming_routes_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel);

// Writes the unit of the GRE tap device. Returns 0, or -1 if it cannot be written. For callers of the
// library: no action calls this.
int gre_tap_apply(const NetworkContext* ctx, const Json::Value& tunnel);

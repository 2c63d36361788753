#pragma once

// GRE tunnels: the tunnel at position `index` of "tunnels.gre" is gre-tun<index + 1>, its units
// begin with index + 70, and traffic that arrives through it can be sent back through it by the
// routing table index + 308.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "config/network_context.h"

// The name of the interface of the tunnel at position `index`.
std::string gre_tunnel_name(int index);

// The "local_ip" that stands for the cellular link's current address.
inline constexpr char kGreDynamicAddress[] = "dynamic";

// A route into a network behind a tunnel.
struct GreRoute {
  std::string destination;
  int prefix;
};

// What the configuration makes of one tunnel.
struct GreTunnel {
  const Json::Value* settings;
  int index;
  bool is_enabled;
  // The device unit, which an enabled tunnel gets in any case.
  std::optional<std::string> description;
  std::optional<int> mtu;
  std::optional<std::string> remote_ip;
  std::optional<std::string> local_ip;
  bool copies_dscp;
  // The network unit. There is none as long as a key is missing; this is the first such.
  const char* missing_key;
  std::optional<std::string> inner_local_ip;
  int inner_prefix;
  std::optional<std::string> inner_remote_ip;
  const Json::Value* networks;  // an array or null; see read_gre_route
  // Traffic that arrives through the tunnel is sent back by the gateway, if there is one.
  bool routes_incoming;
  std::optional<std::string> incoming_gateway;

  // Whether the network unit is written.
  bool has_address() const {
    return is_enabled && missing_key == nullptr;
  }
};

// Reads the tunnel at position `index`.
GreTunnel read_gre_tunnel(int index, const Json::Value& settings);

// The tunnels that a run reaches: after the first enabled one with a missing key it stops.
std::vector<GreTunnel> read_gre_tunnels(const Json::Value& config);

// The route into an element of "tunnel_networks"; nothing when it gets none.
std::optional<GreRoute> read_gre_route(const Json::Value& network);

// Applies every tunnel of the configuration; running it twice does no harm, since each tunnel is deleted
// first. Returns 0, or the result of the first tunnel that failed: it and those after it are then left out.
int gre_apply(const NetworkContext* ctx);

// Deletes the tunnel from the kernel and, when it is enabled, writes its two units. Returns 0; -1 when a
// required inner setting is missing or the network unit cannot be written.
int gre_tun_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel);

// Empties the tunnel's routing table and, when the tunnel asks for it, fills it. Always 0.
int gre_incoming_routes_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel);

// Writes the unit of the GRE tap device. Returns 0, or -1 when it cannot be written. For callers of the
// library: no action calls this.
int gre_tap_apply(const NetworkContext* ctx, const Json::Value& tunnel);

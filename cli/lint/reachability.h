#pragma once

// Which addresses the gateway has, and through which interface it reaches others, as far as the configuration
// decides. A DHCP client may get any default route, and so does the cellular link.

#include <json/json.h>

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "cli/lint/finding.h"
#include "cli/lint/ipv4.h"
#include "cli/lint/prefix_table.h"
#include "cli/lint/site.h"

// The name of the cellular link in a message.
inline constexpr char kCellularLink[] = "the cellular link";

// A route that the configuration makes.
struct Route {
  enum class Kind {
    kConnected,  // to the network of an interface, or of a tunnel's inner addresses
    kListed,     // an element of "static_routes"
    kUplink,     // the default route of a gateway, a DHCP client or the cellular link
    kTunnel,     // an element of "tunnel_networks"
    kWireguard,  // an element of "allowed_ips"
  };

  Kind kind;
  Subnet destination;
  int metric;
  std::string owner;            // eth0, gre-tun1, the cellular link
  const Json::Value* location;  // the value that makes it
  int tunnel = kNoTunnel;       // the position of the GRE tunnel that it leads into

  static constexpr int kNoTunnel = -1;
};

// An address of the gateway itself.
struct GatewayAddress {
  std::string owner;
  const Json::Value* location;
  int tunnel = Route::kNoTunnel;  // the position of the GRE tunnel whose inner address it is
};

// The network of an interface that is disabled.
struct DisabledNetwork {
  std::string interface_name;
  Ipv4 address;                 // of the interface
  const Json::Value* location;  // the switch, or what has none
};

// What would be an uplink if it were enabled or had a gateway.
struct LostUplink {
  const Json::Value* location;
  std::string reason;  // "eth1 is disabled"
  bool is_switched_off;
};

// Why an address cannot be another host's, or cannot be reached.
struct Obstacle {
  std::string reason;
  FindingDetails details;
};

// Adds a finding with the obstacle, if there is one.
void add_if_any(std::optional<Obstacle> obstacle, const Json::Value& location, Findings& findings);

class Reachability {
 public:
  explicit Reachability(const Site& site);

  // The route to the address, the longest prefix first, then the lowest metric; null without one. Of two
  // alike the first one counts, but a default route into a tunnel counts before an uplink.
  const Route* find(Ipv4 address) const;
  // The route to exactly this network; null without one.
  const Route* find_network(const Subnet& network) const;
  // The smallest connected network around the address, or around a subnet and larger than it; null without
  // one.
  const Route* find_connected(Ipv4 address) const;
  const Route* find_connected_around(const Subnet& subnet) const;
  // The gateway's own address; null when it has no such.
  const GatewayAddress* find_own(Ipv4 address) const;
  // The disabled interface that would have exactly this address; null without one.
  const DisabledNetwork* find_disabled_address(Ipv4 address) const;
  // The default route with the lowest metric; null without one.
  const Route* default_route() const;
  // Whether two uplinks have this metric, so that either of them may be the default route.
  bool has_uplinks_alike(int metric) const;

  // Where an uplink seems to be meant, though the configuration makes no default route; nothing otherwise.
  const std::optional<LostUplink>& lost_uplink() const;

  // Why no other host can have the address; nothing when one can.
  std::optional<Obstacle> why_no_other_host(Ipv4 address) const;
  // Why packets to another host go nowhere; nothing when they may arrive.
  std::optional<Obstacle> why_unreachable(Ipv4 address) const;

  // Whether any interface may have an address. Without one nobody reaches the gateway, which has a finding of
  // its own.
  bool has_address() const;
  // Whether the gateway may have addresses that the configuration does not tell.
  bool may_have_other_addresses() const;
  // Whether every value that decides about addresses and routes could be read. What follows from one that
  // could not is not judged.
  bool is_certain() const;

 private:
  void add_interfaces(const Site& site);
  void add_interface(const Site& site, const Interface& interface);
  void add_static_address(const Interface& interface);
  void add_cellular_link(const Site& site);
  void add_listed_routes(const Site& site);
  void add_tunnels(const Site& site);
  void add_tunnel(int index, const Json::Value& settings);
  void add_wireguard(const Site& site);
  void add_disabled(const std::string& name, const Json::Value& network, const Json::Value* location);
  void add_disabled_ports(const Site& site);
  void add_disabled_vlans(const std::string& port, const Json::Value& network,
                          const Json::Value* switch_of_port);
  void add_disabled_radios(const Site& site);

  void add_lost_uplink(LostUplink uplink);
  void add_own(Ipv4 address, GatewayAddress owner);
  void add_route(Route route);
  void add_connected(const Route& route);
  // For what could not be read: afterwards nothing counts as unreachable.
  template <typename Value>
  bool is_read(const std::optional<Value>& value) {
    if (!value) is_certain_ = false;
    return value.has_value();
  }

  PrefixTable<Route> routes_;
  PrefixTable<Route> connected_;
  PrefixTable<DisabledNetwork> disabled_;
  std::unordered_map<Ipv4, GatewayAddress> own_;
  std::unordered_map<Ipv4, DisabledNetwork> disabled_addresses_;
  std::optional<LostUplink> lost_uplink_;
  std::unordered_map<int, int> uplinks_by_metric_;  // how many
  bool has_address_ = false;
  bool has_dhcp_client_ = false;
  bool has_cellular_address_ = false;
  bool is_certain_ = true;
};

#pragma once

// Addresses of the gateway, and its routes to others, as far as the configuration determines them. A DHCP
// client and the cellular link are assumed to get a default route.

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

// A route that results from the configuration.
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
  const Json::Value* location;  // the value that it results from
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
  const Json::Value* location;  // the "enable", or the object that lacks it
};

// An interface, or the cellular link, that would be an uplink if it were enabled or had a gateway.
struct LostUplink {
  const Json::Value* location;
  std::string reason;  // "eth1 is disabled"
  bool is_switched_off;
};

// Why another host cannot have an address, or cannot be reached at it.
struct Obstacle {
  std::string reason;
  FindingDetails details;
};

// Adds a finding with the obstacle, if there is one.
void add_if_any(std::optional<Obstacle> obstacle, const Json::Value& location, Findings& findings);

class Reachability {
 public:
  explicit Reachability(const Site& site);

  // The route to the address: that with the longest prefix, then that with the lowest metric; null if there
  // is none. Of two equal ones the first is used, but a default route into a tunnel takes precedence over an
  // uplink.
  const Route* find(Ipv4 address) const;
  // The route to exactly this network; null if there is none.
  const Route* find_network(const Subnet& network) const;
  // The smallest connected network that contains the address, or that contains the subnet and is larger;
  // null if there is none.
  const Route* find_connected(Ipv4 address) const;
  const Route* find_connected_around(const Subnet& subnet) const;
  // The entry of this address if the gateway itself has it; otherwise null.
  const GatewayAddress* find_own(Ipv4 address) const;
  // The disabled interface that would have exactly this address; null if there is none.
  const DisabledNetwork* find_disabled_address(Ipv4 address) const;
  // The default route with the lowest metric; null if there is none.
  const Route* default_route() const;
  // Whether several uplinks have this metric, so that any of them may be the default route.
  bool has_uplinks_alike(int metric) const;

  // The first interface, or the cellular link, that would be an uplink if it were enabled or had a gateway;
  // nothing if there is none.
  const std::optional<LostUplink>& lost_uplink() const;

  // Why no other host can have the address; nothing if one can.
  std::optional<Obstacle> why_no_other_host(Ipv4 address) const;
  // Why packets to another host at this address go nowhere; nothing if they may arrive.
  std::optional<Obstacle> why_unreachable(Ipv4 address) const;

  // Whether any interface may have an address. If none has, no host can reach the gateway, which locked_out
  // reports.
  bool has_address() const;
  // Whether the gateway may have addresses that are not in the configuration.
  bool may_have_other_addresses() const;
  // Whether every value that determines addresses and routes could be read. If not, conclusions from a
  // missing route are not certain.
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
  // Whether the value could be read. If not, no address counts as unreachable from then on.
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
  std::unordered_map<int, int> uplinks_by_metric_;  // their number
  bool has_address_ = false;
  bool has_dhcp_client_ = false;
  bool has_cellular_address_ = false;
  bool is_certain_ = true;
};

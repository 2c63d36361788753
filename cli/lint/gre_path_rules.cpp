#include "cli/lint/gre_path_rules.h"

#include <unordered_map>

#include "cli/lint/gre_rules.h"
#include "cli/lint/reachability.h"

// --- Endpoints

// Calls `judge` with each enabled tunnel that has a valid "remote_ip", and with that address.
template <typename Judge>
static void for_each_remote(const Site& site, Judge judge) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    if (const auto remote = parse_ipv4(tunnel.remote_ip.value_or(""))) judge(tunnel, *remote);
  });
}

static bool has_equal_ends(const GreTunnel& tunnel, Ipv4 remote) {
  return parse_ipv4(tunnel.local_ip.value_or("")) == remote;
}

// Why the remote endpoint cannot have this address; nothing if it can.
static std::optional<Obstacle> why_remote_unusable(const Site& site, const GreTunnel& tunnel, Ipv4 remote) {
  if (auto obstacle = site.reachability().why_no_other_host(remote)) return obstacle;
  if (!has_equal_ends(tunnel, remote)) return std::nullopt;
  return Obstacle{to_text(remote) + " is the address of both endpoints",
                  related_to(location_of(*tunnel.settings, "local_ip"), "the local endpoint")};
}

void tunnel_remote_unusable(const Site& site, Findings& findings) {
  for_each_remote(site, [&](const GreTunnel& tunnel, Ipv4 remote) {
    add_if_any(why_remote_unusable(site, tunnel, remote), location_of(*tunnel.settings, "remote_ip"),
               findings);
  });
}

namespace {

// The route to the remote endpoint of a tunnel, if it leads into a tunnel.
struct Carrier {
  const Route* route;
  int walk = 0;  // the first walk from carrier to carrier that visited this one; 0 if none has
};

// Carriers by the position of their tunnel.
using Carriers = std::unordered_map<int, Carrier>;

}  // namespace

static Carriers carriers_of(const Site& site) {
  Carriers carriers;
  for_each_remote(site, [&](const GreTunnel& tunnel, Ipv4 remote) {
    if (why_remote_unusable(site, tunnel, remote)) return;
    const Route* route = site.reachability().find(remote);
    if (route != nullptr && route->tunnel != Route::kNoTunnel) carriers.emplace(tunnel.index, Carrier{route});
  });
  return carriers;
}

// Walks from carrier to carrier, beginning with the tunnel `start`. Returns the tunnel that closes a loop;
// nothing if there is no loop, or if an earlier walk has visited it.
static std::optional<int> find_loop(int start, Carriers& carriers) {
  const int walk = start + 1;
  for (int index = start;;) {
    const auto found = carriers.find(index);
    if (found == carriers.end()) return std::nullopt;
    Carrier& carrier = found->second;
    if (carrier.walk == walk) return index;
    if (carrier.walk != 0) return std::nullopt;
    carrier.walk = walk;
    index = carrier.route->tunnel;
  }
}

void tunnel_through_itself(const Site& site, Findings& findings) {
  Carriers carriers = carriers_of(site);
  const Json::Value& tunnels = array_at(site.root, "tunnels.gre");
  for_each_remote(site, [&](const GreTunnel& tunnel, Ipv4 /*remote*/) {
    const std::optional<int> index = find_loop(tunnel.index, carriers);
    if (!index) return;
    const Route& route = *carriers.at(*index).route;
    const Json::Value& remote = tunnels[*index]["remote_ip"];
    findings.add(remote,
                 "the route to " + remote.asString() + " leads into " +
                     (route.tunnel == *index ? "the tunnel itself"
                                             : route.owner + ", whose packets go through this tunnel"),
                 related_to(*route.location, "the route to " + to_text(route.destination)));
  });
}

// Why the gateway cannot send from this address; nothing if it can.
static std::optional<Obstacle> why_not_local(const Site& site, const GreTunnel& tunnel, Ipv4 local) {
  const Reachability& reachability = site.reachability();
  if (const GatewayAddress* own = reachability.find_own(local)) {
    if (own->tunnel != tunnel.index) return std::nullopt;
    return Obstacle{to_text(local) + " is the tunnel's own inner address",
                    related_to(*own->location, "the inner address")};
  }
  if (const DisabledNetwork* disabled = reachability.find_disabled_address(local)) {
    return Obstacle{to_text(local) + " is the address of " + disabled->interface_name + ", which is disabled",
                    related_to(*disabled->location, disabled->interface_name + " is disabled")};
  }
  if (const Route* network = reachability.find_connected(local)) {
    return Obstacle{to_text(local) + " belongs to another host in the network of " + network->owner,
                    related_to(*network->location, "the address of " + network->owner)};
  }
  if (reachability.may_have_other_addresses()) return std::nullopt;
  return Obstacle{"no interface has the address " + to_text(local), {}};
}

// Why the gateway cannot send from the "local_ip" of the tunnel; nothing if it can, or if another rule
// reports the cause.
static std::optional<Obstacle> local_obstacle(const Site& site, const GreTunnel& tunnel) {
  const std::optional<Ipv4> local = parse_ipv4(tunnel.local_ip.value_or(""));
  // 0.0.0.0 means any address.
  if (!local || *local == 0 || !site.reachability().has_address()) return std::nullopt;
  if (parse_ipv4(tunnel.remote_ip.value_or("")) == local) return std::nullopt;
  return why_not_local(site, tunnel, *local);
}

void tunnel_local_not_own(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    add_if_any(local_obstacle(site, tunnel), location_of(*tunnel.settings, "local_ip"), findings);
  });
}

// Why packets cannot reach the remote endpoint; nothing if they can, or if another rule reports an endpoint
// of the tunnel.
static std::optional<Obstacle> remote_obstacle(const Site& site, const GreTunnel& tunnel, Ipv4 remote) {
  if (why_remote_unusable(site, tunnel, remote) || local_obstacle(site, tunnel)) return std::nullopt;
  return lacks_cell(site, tunnel) ? std::nullopt : site.reachability().why_unreachable(remote);
}

void tunnel_remote_unreachable(const Site& site, Findings& findings) {
  for_each_remote(site, [&](const GreTunnel& tunnel, Ipv4 remote) {
    add_if_any(remote_obstacle(site, tunnel, remote), location_of(*tunnel.settings, "remote_ip"), findings);
  });
}

// The name of the interface that has the local address of the tunnel. Nothing if there is none, and for a
// private address, which the firewall may translate.
static std::optional<std::string> local_interface(const Site& site, const GreTunnel& tunnel) {
  if (tunnel.local_ip == kGreDynamicAddress) {
    const bool has_cell = site.context.cell_enabled && !site.context.passthrough_enabled;
    return has_cell ? std::optional<std::string>(kCellularLink) : std::nullopt;
  }
  const std::optional<Ipv4> local = parse_ipv4(tunnel.local_ip.value_or(""));
  const GatewayAddress* own = local && !is_private(*local) ? site.reachability().find_own(*local) : nullptr;
  return own != nullptr && own->tunnel == Route::kNoTunnel ? std::optional(own->owner) : std::nullopt;
}

// Whether the route certainly carries the packets of a tunnel, and does not lead into a tunnel itself.
static bool is_certain_way(const Site& site, const Route& route) {
  if (route.kind == Route::Kind::kUplink) return !site.reachability().has_uplinks_alike(route.metric);
  return route.kind != Route::Kind::kWireguard && route.tunnel == Route::kNoTunnel;
}

void tunnel_local_elsewhere(const Site& site, Findings& findings) {
  if (!site.reachability().is_certain()) return;
  for_each_remote(site, [&](const GreTunnel& tunnel, Ipv4 remote) {
    const std::optional<std::string> owner = local_interface(site, tunnel);
    const Route* route = owner ? site.reachability().find(remote) : nullptr;
    if (route == nullptr || route->owner == *owner || !is_certain_way(site, *route)) return;
    if (why_remote_unusable(site, tunnel, remote) || local_obstacle(site, tunnel)) return;
    findings.add(
        location_of(*tunnel.settings, "local_ip"),
        "packets to " + to_text(remote) + " leave through " + route->owner + " with the address of " + *owner,
        related_to(*route->location, "the route to " + to_text(route->destination)));
  });
}

bool has_tunnel_without_uplink(const Site& site) {
  bool has_one = false;
  for_each_remote(site, [&](const GreTunnel& tunnel, Ipv4 remote) {
    has_one = has_one || lacks_cell(site, tunnel) || remote_obstacle(site, tunnel, remote);
  });
  return has_one;
}

// --- Networks behind tunnels

// Calls `judge` with each enabled tunnel, each network behind it that gets a route, and the location of the
// network's address.
template <typename Judge>
static void for_each_destination(const Site& site, Judge judge) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    for (const Json::Value& network : *tunnel.networks) {
      const std::optional<GreRoute> route = read_gre_route(network);
      const std::optional<Subnet> destination =
          route ? parse_subnet(route->destination, route->prefix) : std::nullopt;
      if (destination) judge(tunnel, *destination, location_of(network, "dest_ip"));
    }
  });
}

void tunnel_network_twice(const Site& site, Findings& findings) {
  for_each_destination(
      site, [&](const GreTunnel& tunnel, const Subnet& network, const Json::Value& location) {
        const Route* route = site.reachability().find_network(network);
        // default_routes_alike compares default routes.
        if (route == nullptr || network.prefix == 0 || route->tunnel == tunnel.index) return;
        if (route->kind == Route::Kind::kWireguard) return;
        const bool is_connected = route->kind == Route::Kind::kConnected;
        findings.add(
            location,
            to_text(network) + (is_connected ? " is already the network of " : " already has a route, on ") +
                route->owner,
            related_to(*route->location, is_connected ? "the network of " + route->owner : "that route"));
      });
}

void tunnel_network_inside(const Site& site, Findings& findings) {
  for_each_destination(site,
                       [&](const GreTunnel& tunnel, const Subnet& network, const Json::Value& location) {
                         const Route* around = site.reachability().find_connected_around(network);
                         if (around == nullptr || around->tunnel == tunnel.index) return;
                         findings.add(location,
                                      to_text(network) + " is a part of " + to_text(around->destination) +
                                          ", the network of " + around->owner,
                                      related_to(*around->location, "the network of " + around->owner));
                       });
}

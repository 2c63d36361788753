#include "cli/lint/forwarding_rules.h"

#include "cli/lint/reachability.h"
#include "config/lookup.h"
#include "networkd/network_unit.h"
#include "tunnels/gre.h"

namespace {

// A network on one side of the gateway.
struct Side {
  std::string name;
  const Json::Value* location;
  const Json::Value* network = nullptr;  // of an interface; otherwise null
};

}  // namespace

// The first network whose hosts use the gateway as their router; nothing if there is none.
static std::optional<Side> find_lan(const Site& site) {
  for (const Interface& interface : site.interfaces) {
    if (interface.kind == Interface::Kind::kPassthroughPort || interface.unit.default_gateway()) continue;
    if (interface.address()) {
      return Side{interface.name, &location_of(*interface.network, "ipv4"), interface.network};
    }
  }
  return std::nullopt;
}

static std::optional<Side> find_other_interface(const Site& site, const Side& lan) {
  for (const Interface& interface : site.interfaces) {
    // A bridge whose primary is not a member shares the settings of that port.
    if (interface.name == lan.name || interface.network == lan.network) continue;
    if (interface.kind == Interface::Kind::kPassthroughPort) continue;
    const bool is_client = interface.unit.is_dhcp_client;
    if (is_client || interface.address())
      return Side{interface.name, &location_of(*interface.network, is_client ? "protocol" : "ipv4")};
  }
  return std::nullopt;
}

static std::optional<Side> find_tunnel(const Site& site) {
  for (const GreTunnel& tunnel : site.tunnels) {
    if (!tunnel.networks->empty()) return Side{gre_tunnel_name(tunnel.index), tunnel.settings};
  }
  return std::nullopt;
}

// A network that the hosts of the LAN can reach only if the gateway forwards: that of the cellular link
// first, then that of another interface, then one behind a tunnel. Nothing if there is none.
static std::optional<Side> find_other_side(const Site& site, const Side& lan) {
  if (site.context.cell_enabled && !site.context.passthrough_enabled)
    return Side{kCellularLink, &location_of(site.root, "wireless.cell.enable")};
  if (auto interface = find_other_interface(site, lan)) return interface;
  return find_tunnel(site);
}

// The value of "firewall.general.router", or the innermost object around it that exists.
static const Json::Value& forwarding_switch(const Json::Value& root) {
  for (const char* path : {"firewall.general.router", "firewall.general", "firewall"}) {
    const Json::Value& value = location_of(root, path);
    if (&value != &root) return value;
  }
  return root;
}

void forwarding_off(const Site& site, Findings& findings) {
  if (is_router(&site.context) || !site.reachability().is_certain()) return;
  const std::optional<Side> lan = find_lan(site);
  const std::optional<Side> other = lan ? find_other_side(site, *lan) : std::nullopt;
  if (!other) return;
  findings.add(forwarding_switch(site.root),
               "forwarding is off, without \"firewall.general.router\": hosts of " + lan->name +
                   " cannot reach " + other->name,
               {{{range_of(*lan->location), "the network of " + lan->name},
                 {range_of(*other->location), "the way to " + other->name}},
                {}});
}

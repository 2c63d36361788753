#include "cli/lint/gre_rules.h"

#include <string_view>
#include <unordered_map>

#include "cli/lint/reachability.h"
#include "cli/lint/value_fixes.h"

void tunnel_without_inner_address(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    if (tunnel.has_address()) return;
    findings.add(*tunnel.settings, "the tunnel has no " + quoted(tunnel.missing_key) +
                                       ": it gets no address, and the tunnels after it are left out");
  });
}

void tunnel_address_malformed(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    for (const char* key : {"remote_ip", "local_ip", "tunnel_local_ip", "tunnel_remote_ip"}) {
      const std::optional<std::string> text = string_at(*tunnel.settings, key);
      const bool may_be_dynamic = std::string_view(key) == "local_ip";
      if (!text || parse_ipv4(*text) || (may_be_dynamic && *text == kGreDynamicAddress)) continue;
      // Only the inner addresses have a netmask.
      const bool is_inner = std::string_view(key).substr(0, 6) == "tunnel";
      findings.add(location_of(*tunnel.settings, key),
                   quoted(*text) + (may_be_dynamic ? " is neither an IPv4 address nor \"dynamic\""
                                                   : " is not an IPv4 address"),
                   is_inner ? move_prefix_length(site.source.text, *tunnel.settings, key, "tunnel_netmask")
                            : FindingDetails());
    }
  });
}

void tunnel_netmask_out_of_range(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    if (tunnel.inner_prefix >= 0 && tunnel.inner_prefix <= 32) return;
    findings.add(location_of(*tunnel.settings, "tunnel_netmask"),
                 std::to_string(tunnel.inner_prefix) + " is not a prefix length (0 to 32)");
  });
}

void tunnel_without_remote(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    if (!tunnel.remote_ip) findings.add(*tunnel.settings, "the tunnel has no remote endpoint, \"remote_ip\"");
  });
}

void tunnel_twice(const Site& site, Findings& findings) {
  std::unordered_map<std::string, const Json::Value*> locations;
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    std::string both = tunnel.remote_ip.value_or("") + " ";
    both += tunnel.local_ip.value_or("");
    const Json::Value& location = location_of(*tunnel.settings, "remote_ip");
    const auto [first, is_new] = locations.emplace(both, &location);
    if (is_new) return;
    findings.add(location, "another tunnel has the same endpoints, and the kernel creates only one of them",
                 related_to(*first->second, "the other tunnel"));
  });
}

// Calls `judge` with each network behind an enabled tunnel, and with the route into it, if it gets one.
template <typename Judge>
static void for_each_network(const Site& site, Judge judge) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    for (const Json::Value& network : *tunnel.networks) {
      if (network.isObject()) judge(network, read_gre_route(network));
    }
  });
}

void tunnel_network_malformed(const Site& site, Findings& findings) {
  for_each_network(site, [&](const Json::Value& network, const std::optional<GreRoute>& route) {
    const std::optional<std::string> address = string_at(network, "dest_ip");
    if (!route && (!address || !number_at(network, "dest_netmask"))) {
      findings.add(network, "a network behind a tunnel needs \"dest_ip\" and \"dest_netmask\"",
                   move_prefix_length(site.source.text, network, "dest_ip", "dest_netmask"));
    } else if (!route || !parse_ipv4(route->destination)) {
      findings.add(location_of(network, "dest_ip"), quoted(*address) + " is not an IPv4 address",
                   move_prefix_length(site.source.text, network, "dest_ip", "dest_netmask"));
    } else if (route->prefix < 0 || route->prefix > 32) {
      findings.add(location_of(network, "dest_netmask"),
                   std::to_string(route->prefix) + " is not a prefix length (0 to 32)");
    }
  });
}

void tunnel_network_host_bits(const Site& site, Findings& findings) {
  for_each_network(site, [&](const Json::Value& network, const std::optional<GreRoute>& route) {
    const std::optional<Subnet> subnet =
        route ? parse_subnet(route->destination, route->prefix) : std::nullopt;
    if (!subnet || parse_ipv4(route->destination) == subnet->address) return;
    findings.add(location_of(network, "dest_ip"),
                 std::string(route->destination) + " has host bits set; the network is " + to_text(*subnet),
                 write_string_instead(location_of(network, "dest_ip"), to_text(subnet->address)));
  });
}

void tunnel_incoming_gateway(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    const Json::Value& settings = *tunnel.settings;
    if (!tunnel.routes_incoming) return;
    const std::optional<Ipv4> gateway = parse_ipv4(tunnel.incoming_gateway.value_or(""));
    if (!tunnel.incoming_gateway) {
      findings.add(location_of(settings, "route_incoming"),
                   "\"route_incoming\" needs the gateway \"incoming_gre_gateway\"");
    } else if (!gateway) {
      findings.add(location_of(settings, "incoming_gre_gateway"),
                   quoted(*tunnel.incoming_gateway) + " is not an IPv4 address");
    } else if (gateway == parse_ipv4(tunnel.inner_remote_ip.value_or(""))) {
      // The rules about "tunnel_remote_ip" report this address.
      return;
    } else {
      add_if_any(site.reachability().why_no_other_host(*gateway),
                 location_of(settings, "incoming_gre_gateway"), findings);
    }
  });
}

bool lacks_cell(const Site& site, const GreTunnel& tunnel) {
  return tunnel.local_ip == kGreDynamicAddress && !site.context.cell_enabled;
}

void tunnel_dynamic_without_cell(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    if (!lacks_cell(site, tunnel)) return;
    findings.add(location_of(*tunnel.settings, "local_ip"),
                 "\"dynamic\" is the cellular address, and the cellular link is disabled");
  });
}

void tunnel_dynamic_in_passthrough(const Site& site, Findings& findings) {
  if (!site.context.cell_enabled || !site.context.passthrough_enabled) return;
  const std::string& port = site.context.passthrough_interface;
  const Json::Value& mode = location_of(site.root, wired_network_path(port) + ".mode");
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    if (tunnel.local_ip != kGreDynamicAddress) return;
    findings.add(location_of(*tunnel.settings, "local_ip"),
                 "\"dynamic\" is the cellular address, which belongs to the device behind " + port,
                 related_to(mode, port + " is in pass-through"));
  });
}

// --- Inner addresses

void tunnel_inner_ends_alike(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    const std::optional<Ipv4> local = parse_ipv4(tunnel.inner_local_ip.value_or(""));
    if (!local || local != parse_ipv4(tunnel.inner_remote_ip.value_or(""))) return;
    findings.add(location_of(*tunnel.settings, "tunnel_remote_ip"),
                 to_text(*local) + " is the inner address of both endpoints",
                 related_to(location_of(*tunnel.settings, "tunnel_local_ip"), "this endpoint"));
  });
}

void tunnel_inner_address_unusable(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    const std::optional<Subnet> subnet =
        parse_subnet(tunnel.inner_local_ip.value_or(""), tunnel.inner_prefix);
    if (!subnet || !tunnel.has_address()) return;
    for (const char* key : {"tunnel_local_ip", "tunnel_remote_ip"}) {
      const std::optional<Ipv4> end = parse_ipv4(string_at(*tunnel.settings, key).value_or(""));
      if (end && subnet->contains(*end) && !subnet->has_host(*end))
        findings.add(location_of(*tunnel.settings, key), obstacle(*subnet, *end));
    }
  });
}

// Whether another rule reports the inner network: it overlaps another network, or the local inner address is
// not that of a host.
static bool is_inner_network_judged(const Site& site, const GreTunnel& tunnel, const Subnet& subnet) {
  const Route* network = site.reachability().find_network(subnet);
  return !subnet.has_host(*parse_ipv4(*tunnel.inner_local_ip)) || network == nullptr ||
         network->tunnel != tunnel.index || site.reachability().find_connected_around(subnet) != nullptr;
}

void tunnel_inner_remote_outside(const Site& site, Findings& findings) {
  for_each_tunnel(site, [&](const GreTunnel& tunnel) {
    const std::optional<Subnet> subnet =
        parse_subnet(tunnel.inner_local_ip.value_or(""), tunnel.inner_prefix);
    const std::optional<Ipv4> remote = parse_ipv4(tunnel.inner_remote_ip.value_or(""));
    // With a prefix length of 32, the addresses of both endpoints need no common network.
    if (!subnet || !remote || subnet->prefix == 32 || subnet->contains(*remote)) return;
    if (!tunnel.has_address() || is_inner_network_judged(site, tunnel, *subnet)) return;
    findings.add(
        location_of(*tunnel.settings, "tunnel_remote_ip"),
        to_text(*remote) + " is outside " + to_text(*subnet) + ", the tunnel's inner network",
        related_to(location_of(*tunnel.settings, "tunnel_local_ip"), "the inner address of this endpoint"));
  });
}

#include "cli/graph/tunnel_boxes.h"

#include <unordered_map>

#include "cli/lint/wireguard_rules.h"
#include "platform/libcmd.h"

static void add_line(Part& part, std::string text, std::vector<const Json::Value*> places) {
  part.parts.push_back({Part::Kind::kLine, "", std::move(text), std::move(places)});
}

// "10.10.0.0/16" from an address and a prefix length as the configuration has them.
static std::string network_text(const Json::Value& object, const char* address, const char* prefix) {
  int length = 0;
  const bool has_prefix = config_get_int(object, &length, prefix);
  return string_at(object, address).value_or("no address") + (has_prefix ? "/" + std::to_string(length) : "");
}

static Part far_end_of(const GreTunnel& tunnel) {
  const Json::Value& settings = *tunnel.settings;
  Part end{Part::Kind::kFarEnd,
           tunnel.remote_ip.value_or("nowhere"),
           "far end",
           {&place_of(settings, "remote_ip")}};
  for (const Json::Value& network : *tunnel.networks) {
    if (!network.isObject()) continue;
    const char* state = read_gre_route(network) ? "" : ", left out";
    add_line(end, network_text(network, "dest_ip", "dest_netmask") + state, {&network});
  }
  return end;
}

static Part gre_part(const GreTunnel& tunnel) {
  const Json::Value& settings = *tunnel.settings;
  const std::string title = tunnel.description.value_or("");
  Part part{Part::Kind::kTunnel,
            gre_tunnel_name(tunnel.index),
            "GRE tunnel" + (title.empty() ? "" : ", " + title),
            {&settings}};
  const std::string local = tunnel.local_ip.value_or("nowhere");
  add_line(part, "from " + (local == kGreDynamicAddress ? "the cellular address" : local),
           {&place_of(settings, "local_ip")});
  add_line(part,
           *tunnel.inner_local_ip + "/" + std::to_string(tunnel.inner_prefix) + " here, " +
               *tunnel.inner_remote_ip + " there",
           {&place_of(settings, "tunnel_local_ip"), &place_of(settings, "tunnel_netmask"),
            &place_of(settings, "tunnel_remote_ip")});
  if (tunnel.mtu) add_line(part, "MTU " + std::to_string(*tunnel.mtu), {&place_of(settings, "mtu_size")});
  if (tunnel.routes_incoming) {
    add_line(part, "what arrives goes back by " + tunnel.incoming_gateway.value_or("no gateway"),
             {&place_of(settings, "incoming_gre_gateway")});
  }
  part.parts.push_back(far_end_of(tunnel));
  return part;
}

namespace {

using InterfacesByAddress = std::unordered_map<Ipv4, const Interface*>;

}  // namespace

static InterfacesByAddress interfaces_by_address(const Site& site) {
  InterfacesByAddress interfaces;
  for (const Interface& interface : site.interfaces) {
    for (const OwnAddress& own : site.addresses_of(interface))
      interfaces.emplace(own.address, &interface);
  }
  return interfaces;
}

static void add_gre(const Site& site, std::vector<TunnelPart>& parts) {
  const InterfacesByAddress interfaces = interfaces_by_address(site);
  std::unordered_map<const Json::Value*, const GreTunnel*> written;
  for (const GreTunnel& tunnel : site.tunnels)
    written.emplace(tunnel.settings, &tunnel);
  int index = 0;
  for (const Json::Value& settings : array_at(site.root, "tunnels.gre")) {
    const auto found = written.find(&settings);
    const int position = index++;
    if (found == written.end()) {
      const bool is_off = !read_gre_tunnel(position, settings).is_enabled;
      const char* why = is_off ? "GRE tunnel, off" : "GRE tunnel, left out";
      parts.push_back({{Part::Kind::kAside, gre_tunnel_name(position), why, {&settings}}, false, nullptr});
      continue;
    }
    const GreTunnel& tunnel = *found->second;
    const std::string local = tunnel.local_ip.value_or("");
    const std::optional<Ipv4> address = parse_ipv4(local);
    const auto interface = address ? interfaces.find(*address) : interfaces.end();
    parts.push_back({gre_part(tunnel), local == kGreDynamicAddress,
                     interface != interfaces.end() ? interface->second : nullptr});
  }
}

static Part wireguard_part(const WireguardInterface& interface) {
  Part part{Part::Kind::kTunnel,
            wireguard_link_name(interface.index),
            "WireGuard, " + interface.address.value_or("no address"),
            {interface.settings}};
  for (const WireguardPeer& peer : interface.peers) {
    Part end{Part::Kind::kFarEnd, peer.endpoint.value_or("anywhere"), "peer", {peer.settings}};
    for (const std::string& network : trimmed_networks(peer))
      if (!network.empty()) add_line(end, network, {&place_of(*peer.settings, "allowed_ips")});
    part.parts.push_back(std::move(end));
  }
  return part;
}

std::vector<TunnelPart> tunnel_parts(const Site& site) {
  std::vector<TunnelPart> parts;
  add_gre(site, parts);
  for (const WireguardInterface& interface : site.wireguard_interfaces)
    parts.push_back({wireguard_part(interface), false, nullptr});
  return parts;
}

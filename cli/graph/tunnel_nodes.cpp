#include "cli/graph/tunnel_nodes.h"

#include <unordered_map>

#include "cli/lint/wireguard_rules.h"
#include "platform/libcmd.h"

static constexpr ListKind kRemoteNetworks = {
    "Networks behind tunnels", "Remote endpoint", {"Network", "Route"}};

// "10.10.0.0/16" from an address and a prefix length as the configuration has them.
static std::string network_text(const Json::Value& object, const char* address, const char* prefix) {
  int length = 0;
  const bool has_prefix = config_get_int(object, &length, prefix);
  return string_at(object, address).value_or("no address") + (has_prefix ? "/" + std::to_string(length) : "");
}

static Node remote_endpoint_of(const DiagramFacts& facts, const GreTunnel& tunnel) {
  const Json::Value& settings = *tunnel.settings;
  Node end{Node::Kind::kRemoteEndpoint,
           tunnel.remote_ip.value_or("nowhere"),
           "remote endpoint",
           {&location_of(settings, "remote_ip")}};
  end.list = &kRemoteNetworks;
  for (const Json::Value& network : *tunnel.networks) {
    if (!network.isObject()) continue;
    const bool is_default = facts.internet_by(network) != Node::Internet::kNone;
    const std::string state = !read_gre_route(network) ? "ignored"
                              : is_default ? "default route" + facts.metric_text(network, std::nullopt)
                                           : "";
    add_item(end, {network_text(network, "dest_ip", "dest_netmask"), state}, network);
  }
  return end;
}

static Node gre_node(const DiagramFacts& facts, const GreTunnel& tunnel) {
  const Json::Value& settings = *tunnel.settings;
  const std::string title = tunnel.description.value_or("");
  Node node{Node::Kind::kTunnel,
            gre_tunnel_name(tunnel.index),
            "GRE tunnel" + (title.empty() ? "" : ", " + title),
            {&settings}};
  const std::string local = tunnel.local_ip.value_or("nowhere");
  add_line(node, "from " + (local == kGreDynamicAddress ? "the cellular address" : local),
           {&location_of(settings, "local_ip")});
  add_line(node,
           "inner address " + *tunnel.inner_local_ip + "/" + std::to_string(tunnel.inner_prefix) +
               ", remote " + *tunnel.inner_remote_ip,
           {&location_of(settings, "tunnel_local_ip"), &location_of(settings, "tunnel_netmask"),
            &location_of(settings, "tunnel_remote_ip")});
  if (tunnel.mtu) add_line(node, "MTU " + std::to_string(*tunnel.mtu), {&location_of(settings, "mtu_size")});
  if (tunnel.routes_incoming) {
    add_line(node, "replies are routed via " + tunnel.incoming_gateway.value_or("no gateway"),
             {&location_of(settings, "incoming_gre_gateway")});
  }
  node.children.push_back(remote_endpoint_of(facts, tunnel));
  return node;
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

static void add_gre(const DiagramFacts& facts, std::vector<TunnelNode>& tunnels) {
  const Site& site = facts.site;
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
      const char* why = is_off ? "GRE tunnel, off" : "GRE tunnel, ignored";
      tunnels.push_back({{Node::Kind::kAside, gre_tunnel_name(position), why, {&settings}}, false, nullptr});
      continue;
    }
    const GreTunnel& tunnel = *found->second;
    const std::string local = tunnel.local_ip.value_or("");
    const std::optional<Ipv4> address = parse_ipv4(local);
    const auto interface = address ? interfaces.find(*address) : interfaces.end();
    tunnels.push_back({gre_node(facts, tunnel), local == kGreDynamicAddress,
                       interface != interfaces.end() ? interface->second : nullptr});
  }
}

static Node wireguard_node(const WireguardInterface& interface) {
  Node node{Node::Kind::kTunnel,
            wireguard_link_name(interface.index),
            "WireGuard, " + interface.address.value_or("no address"),
            {interface.settings}};
  for (const WireguardPeer& peer : interface.peers) {
    Node end{Node::Kind::kRemoteEndpoint, peer.endpoint.value_or("anywhere"), "peer", {peer.settings}};
    end.list = &kRemoteNetworks;
    for (const std::string& network : trimmed_networks(peer))
      if (!network.empty()) add_item(end, {network}, location_of(*peer.settings, "allowed_ips"));
    node.children.push_back(std::move(end));
  }
  return node;
}

std::vector<TunnelNode> tunnel_nodes(const DiagramFacts& facts) {
  std::vector<TunnelNode> tunnels;
  add_gre(facts, tunnels);
  for (const WireguardInterface& interface : facts.site.wireguard_interfaces)
    tunnels.push_back({wireguard_node(interface), false, nullptr});
  return tunnels;
}

#include "cli/lint/connected_networks.h"

#include <algorithm>

#include "cli/lint/dhcp_rules.h"
#include "cli/lint/ip_network.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "platform/libvantor.h"

static void add_interfaces(const Site& site, std::vector<ConnectedNetwork>& networks) {
  for (const Interface& interface : site.interfaces) {
    // If two interfaces have the same name, only the first one takes effect.
    if (site.find_interface(interface.name) != &interface) continue;
    for (const OwnAddress& own : site.addresses_of(interface))
      networks.push_back({interface.name, own.subnet, own.location, own.is_fixed});
  }
}

// dnsmasq serves the fallback subnet of a pass-through port even if the port has no address in that subnet.
static void add_passthrough_fallback(const Site& site, std::vector<ConnectedNetwork>& networks) {
  const Interface* port = find_passthrough_port(site);
  if (port == nullptr || is_true(*port->network, "advanced.enable_secondary_ip")) return;
  const std::optional<Subnet> subnet =
      parse_subnet(secondary_pair_of(port->name)->gateway, netmask_to_cidr(kSecondaryNetmask));
  networks.push_back({port->name, *subnet, &location_of(*port->network, "mode"), true});
}

static void add_tunnels(const Site& site, std::vector<ConnectedNetwork>& networks) {
  for (const GreTunnel& tunnel : site.tunnels) {
    const std::optional<Subnet> subnet = parse_subnet(*tunnel.inner_local_ip, tunnel.inner_prefix);
    // Several tunnels may share an address with a prefix length of 32.
    if (subnet && subnet->prefix < 32)
      networks.push_back(
          {gre_tunnel_name(tunnel.index), *subnet, &location_of(*tunnel.settings, "tunnel_local_ip"), false});
  }
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    const std::optional<IpNetwork> network = parse_ip_network(interface.address.value_or(""));
    const std::optional<Subnet> subnet = network ? network->ipv4() : std::nullopt;
    if (subnet && subnet->prefix < 32)
      networks.push_back({wireguard_link_name(interface.index), *subnet,
                          &location_of(*interface.settings, "local_addrs"), false});
  }
}

std::vector<ConnectedNetwork> connected_networks(const Site& site) {
  std::vector<ConnectedNetwork> networks;
  add_interfaces(site, networks);
  add_passthrough_fallback(site, networks);
  add_tunnels(site, networks);
  std::sort(networks.begin(), networks.end(), [](const ConnectedNetwork& a, const ConnectedNetwork& b) {
    if (a.subnet.address != b.subnet.address) return a.subnet.address < b.subnet.address;
    if (a.subnet.prefix != b.subnet.prefix) return a.subnet.prefix < b.subnet.prefix;
    return a.location->getOffsetStart() < b.location->getOffsetStart();
  });
  return networks;
}

ConnectedNetworks::ConnectedNetworks(const Site& site) : networks_(connected_networks(site)) {
  for (const ConnectedNetwork& network : networks_)
    by_subnet_.emplace(std::pair(network.subnet.address, network.subnet.prefix), &network);
}

const ConnectedNetwork* ConnectedNetworks::find_around(const Subnet& subnet,
                                                       const std::string& preferred) const {
  for (int prefix = subnet.prefix; prefix > 0; --prefix) {
    const Ipv4 address = subnet_with(subnet.address, prefix)->address;
    const auto [begin, end] = by_subnet_.equal_range(std::pair(address, prefix));
    if (begin == end) continue;
    const auto own =
        std::find_if(begin, end, [&](const auto& each) { return each.second->owner == preferred; });
    return own != end ? own->second : begin->second;
  }
  return nullptr;
}

#include "cli/lint/wireguard_peer_rules.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "cli/lint/connected_networks.h"
#include "cli/lint/ip_network.h"
#include "cli/lint/wireguard_rules.h"

namespace {

struct Peer {
  const WireguardInterface* interface;
  const WireguardPeer* settings;

  const Json::Value& location(const char* key) const {
    return location_of(*settings->settings, key);
  }
};

}  // namespace

// The peers that have a key, without those whose key another peer of the interface already has. Adds each of
// the latter, with that other peer, to `twice` unless it is null.
static std::vector<Peer> peers_of(const Site& site, std::vector<std::pair<Peer, Peer>>* twice) {
  std::vector<Peer> peers;
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    std::unordered_map<std::string, const WireguardPeer*> by_key;
    for (const WireguardPeer& peer : interface.peers) {
      if (!peer.is_written()) continue;
      const auto [first, is_new] = by_key.emplace(*peer.public_key, &peer);
      if (is_new) {
        peers.push_back({&interface, &peer});
      } else if (twice != nullptr) {
        twice->push_back({{&interface, &peer}, {&interface, first->second}});
      }
    }
  }
  return peers;
}

void wireguard_peer_twice(const Site& site, Findings& findings) {
  std::vector<std::pair<Peer, Peer>> twice;
  peers_of(site, &twice);
  for (const auto& [second, first] : twice) {
    findings.add(second.location("public_key"),
                 wireguard_link_name(second.interface->index) + " already has a peer with this key",
                 related_to(first.location("public_key"), "the first peer with this key"));
  }
}

void wireguard_endpoint_twice(const Site& site, Findings& findings) {
  std::unordered_map<std::string, const Peer*> by_endpoint;
  const std::vector<Peer> peers = peers_of(site, nullptr);
  for (const Peer& peer : peers) {
    if (!peer.settings->endpoint) continue;
    const auto [first, is_new] = by_endpoint.emplace(*peer.settings->endpoint, &peer);
    if (is_new || first->second->settings->public_key == peer.settings->public_key) continue;
    findings.add(peer.location("endpoint"),
                 *peer.settings->endpoint + " is already the endpoint of a peer with another key",
                 related_to(first->second->location("endpoint"), "the other peer"));
  }
}

// The host of an endpoint, if it is an address.
static std::optional<IpNetwork> address_of(const Peer& peer) {
  const std::string endpoint = peer.settings->endpoint.value_or("");
  std::string host = endpoint.substr(0, endpoint.rfind(':'));
  if (host.size() > 1 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  return host.find('/') == std::string::npos ? parse_ip_network(host) : std::nullopt;
}

namespace {

// The gateway's own addresses, each with the name of its interface and its location.
using OwnAddresses = std::unordered_map<Ipv4, std::pair<std::string, const Json::Value*>>;

}  // namespace

static OwnAddresses own_addresses(const Site& site) {
  OwnAddresses addresses;
  for (const Interface& interface : site.interfaces) {
    for (const OwnAddress& own : site.addresses_of(interface))
      addresses.emplace(own.address, std::pair(interface.name, own.location));
  }
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    const std::string text = interface.address.value_or("");
    if (const std::optional<Ipv4> own = parse_ipv4(text.substr(0, text.find('/')))) {
      addresses.emplace(*own, std::pair(wireguard_link_name(interface.index),
                                        &location_of(*interface.settings, "local_addrs")));
    }
  }
  return addresses;
}

void wireguard_endpoint_own(const Site& site, Findings& findings) {
  constexpr Ipv4 kLoopback = 127;
  const OwnAddresses own = own_addresses(site);
  for (const Peer& peer : peers_of(site, nullptr)) {
    const std::optional<IpNetwork> address = address_of(peer);
    if (!address) continue;
    const Json::Value& location = peer.location("endpoint");
    const std::optional<Subnet> ipv4 = address->ipv4();
    const std::string name = wireguard_link_name(peer.interface->index);
    const Json::Value& local = location_of(*peer.interface->settings, "local_addrs");
    const std::optional<IpNetwork> network = parse_ip_network(peer.interface->address.value_or(""));
    if (const auto found = ipv4 ? own.find(ipv4->address) : own.end(); found != own.end()) {
      findings.add(location, to_text(ipv4->address) + " is the address of " + found->second.first + " itself",
                   related_to(*found->second.second, "the address of " + found->second.first));
    } else if (ipv4 && (ipv4->address == 0 || ipv4->address >> 24 == kLoopback)) {
      findings.add(location, to_text(ipv4->address) + " is the gateway itself");
    } else if (network && network->contains(*address)) {
      findings.add(
          location,
          "the endpoint is inside " + to_text(network->masked()) + ", the network of " + name + " itself",
          related_to(local, "the network of " + name));
    }
  }
}

namespace {

// A network behind a peer, with its host bits cleared.
struct AllowedNetwork {
  IpNetwork network;
  const Peer* peer;

  const Json::Value& location() const {
    return peer->location("allowed_ips");
  }
};

}  // namespace

// The networks behind the peers, sorted so that each one follows those that contain it; equal ones are in
// file order. `peers` must outlive the result.
static std::vector<AllowedNetwork> allowed_networks(const std::vector<Peer>& peers) {
  std::vector<AllowedNetwork> networks;
  for (const Peer& peer : peers) {
    for (const std::string& text : trimmed_networks(*peer.settings)) {
      if (const std::optional<IpNetwork> network = parse_ip_network(text))
        networks.push_back({network->masked(), &peer});
    }
  }
  std::stable_sort(networks.begin(), networks.end(),
                   [](const AllowedNetwork& a, const AllowedNetwork& b) { return a.network < b.network; });
  return networks;
}

// Calls `report` with each network that is within or equal to one behind another peer, and with the smallest
// such network.
static void for_each_overlap(
    const std::vector<AllowedNetwork>& networks,
    const std::function<void(const AllowedNetwork& inner, const AllowedNetwork& outer)>& report) {
  std::vector<const AllowedNetwork*> around;
  for (const AllowedNetwork& inner : networks) {
    while (!around.empty() && !around.back()->network.contains(inner.network))
      around.pop_back();
    const auto outer =
        std::find_if(around.rbegin(), around.rend(),
                     [&inner](const AllowedNetwork* candidate) { return candidate->peer != inner.peer; });
    if (outer != around.rend()) report(inner, **outer);
    const bool is_repeated =
        !around.empty() && around.back()->peer == inner.peer && around.back()->network.is_same(inner.network);
    if (!is_repeated) around.push_back(&inner);
  }
}

// The name of a peer in a message about `other`.
static std::string word_for(const Peer& peer, const Peer& other) {
  if (peer.interface == other.interface) return "another peer";
  return "a peer of " + wireguard_link_name(peer.interface->index);
}

namespace {

// Adds at most one finding for each peer, since an error in one of its networks is often repeated in others.
class PeerFindings {
 public:
  explicit PeerFindings(Findings& findings) : findings_(findings) {}

  void add(const AllowedNetwork& network, std::string message, const Json::Value& other, std::string note) {
    if (!reported_.insert(network.peer).second) return;
    findings_.add(network.location(), std::move(message), related_to(other, std::move(note)));
  }

 private:
  Findings& findings_;
  std::unordered_set<const Peer*> reported_;
};

}  // namespace

void wireguard_network_twice(const Site& site, Findings& findings) {
  const std::vector<Peer> peers = peers_of(site, nullptr);
  const std::vector<AllowedNetwork> networks = allowed_networks(peers);
  const ConnectedNetworks connected(site);
  const OwnAddresses own = own_addresses(site);
  PeerFindings found(findings);
  for (const AllowedNetwork& allowed : networks) {
    const std::optional<Subnet> subnet = allowed.network.ipv4();
    if (!subnet) continue;
    const auto address = allowed.network.is_host() ? own.find(subnet->address) : own.end();
    const std::string name = wireguard_link_name(allowed.peer->interface->index);
    const ConnectedNetwork* network = connected.find_around(*subnet, name);
    if (address != own.end()) {
      const auto& [owner, location] = address->second;
      found.add(allowed, to_text(subnet->address) + " is the address of " + owner + " itself", *location,
                "the address of " + owner);
    } else if (network != nullptr && network->owner != name && network->subnet.prefix == subnet->prefix) {
      found.add(allowed, to_text(*subnet) + " is already the network of " + network->owner,
                *network->location, "the network of " + network->owner);
    }
  }
  for_each_overlap(networks, [&found](const AllowedNetwork& inner, const AllowedNetwork& outer) {
    if (!inner.network.is_same(outer.network)) return;
    const std::string other = word_for(*outer.peer, *inner.peer);
    found.add(inner, to_text(inner.network) + " is already behind " + other, outer.location(), other);
  });
}

void wireguard_networks_overlap(const Site& site, Findings& findings) {
  const std::vector<Peer> peers = peers_of(site, nullptr);
  const std::vector<AllowedNetwork> networks = allowed_networks(peers);
  const ConnectedNetworks connected(site);
  PeerFindings found(findings);
  for (const AllowedNetwork& allowed : networks) {
    const std::optional<Subnet> subnet = allowed.network.ipv4();
    if (!subnet) continue;
    const std::string name = wireguard_link_name(allowed.peer->interface->index);
    const ConnectedNetwork* network = connected.find_around(*subnet, name);
    if (network == nullptr || network->owner == name || network->subnet.prefix == subnet->prefix) continue;
    found.add(
        allowed,
        to_text(*subnet) + " is a part of " + to_text(network->subnet) + ", the network of " + network->owner,
        *network->location, "the network of " + network->owner);
  }
  for_each_overlap(networks, [&found](const AllowedNetwork& inner, const AllowedNetwork& outer) {
    // The more specific network takes precedence, which is usual next to a default route, and for a single
    // host.
    if (outer.network.is_default_route() || inner.network.is_host()) return;
    if (inner.network.is_same(outer.network)) return;
    const bool is_later = inner.location().getOffsetStart() > outer.location().getOffsetStart();
    const AllowedNetwork& later = is_later ? inner : outer;
    const AllowedNetwork& earlier = is_later ? outer : inner;
    const std::string other = word_for(*earlier.peer, *later.peer);
    found.add(later, to_text(later.network) + " overlaps " + to_text(earlier.network) + ", behind " + other,
              earlier.location(), other);
  });
}

#include "cli/lint/wireguard_rules.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "cli/base/text.h"
#include "cli/lint/ip_network.h"
#include "cli/lint/reachability.h"
#include "cli/lint/value_fixes.h"

template <typename Judge>
static void for_each_peer(const Site& site, Judge judge) {
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    for (const WireguardPeer& peer : interface.peers)
      judge(peer);
  }
}

// Whether the string is 32 bytes in base64: 43 digits, the last of which encodes four bits, and the padding.
static bool is_key(std::string_view text) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::string_view kLastDigits = "AEIMQUYcgkosw048";
  return text.size() == 44 && text[43] == '=' && kLastDigits.find(text[42]) != std::string_view::npos &&
         text.substr(0, 42).find_first_not_of(kDigits) == std::string_view::npos;
}

// Whether the string is an IPv4 or IPv6 address, with or without a prefix length.
static bool is_network(const std::string& text) {
  return parse_ip_network(text).has_value();
}

void wireguard_public_key(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    if (!peer.is_written()) {
      findings.add(location_of(*peer.settings, "public_key"),
                   "a peer needs a \"public_key\"; without one it is left out");
    } else if (!is_key(*peer.public_key)) {
      findings.add(location_of(*peer.settings, "public_key"), "a key is 32 bytes in base64, 44 characters");
    }
  });
}

void wireguard_preshared_key(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    if (!peer.preshared_key || is_key(*peer.preshared_key)) return;
    findings.add(location_of(*peer.settings, "preshared_key"), "a key is 32 bytes in base64, 44 characters");
  });
}

// Why an interface cannot have the address; nothing if it can.
static std::optional<std::string> why_unusable(const std::string& address) {
  const std::optional<IpNetwork> network = parse_ip_network(address);
  if (!network) return quoted(address) + " is not an address";
  const std::optional<Subnet> subnet = network->ipv4();
  const std::optional<Ipv4> own = parse_ipv4(address.substr(0, address.find('/')));
  return subnet && !subnet->has_host(*own) ? std::optional(obstacle(*subnet, *own)) : std::nullopt;
}

void wireguard_address(const Site& site, Findings& findings) {
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    if (!interface.address) {
      findings.add(*interface.settings, "the interface has no address, \"local_addrs\"");
    } else if (const std::optional<std::string> reason = why_unusable(*interface.address)) {
      findings.add(location_of(*interface.settings, "local_addrs"), *reason);
    }
  }
}

std::vector<std::string> trimmed_networks(const WireguardPeer& peer) {
  std::vector<std::string> networks = peer.networks();
  std::transform(networks.begin(), networks.end(), networks.begin(),
                 [](const std::string& network) { return trimmed(network); });
  return networks;
}

void wireguard_allowed_ips(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    for (const std::string& network : trimmed_networks(peer)) {
      if (!is_network(network))
        findings.add(location_of(*peer.settings, "allowed_ips"), quoted(network) + " is not a network");
    }
  });
}

void wireguard_peer_without_networks(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    if (!peer.is_written() || peer.allowed_ips) return;
    findings.add(*peer.settings, "a peer without \"allowed_ips\" sends and receives nothing");
  });
}

// Whether the host looks like an IPv4 address but is not a valid one.
static bool is_malformed_address(const std::string& host) {
  return host.find_first_not_of("0123456789./") == std::string::npos && !parse_ipv4(host);
}

// The element of a list with the host bits of its network cleared, and the blanks around it unchanged.
// Nothing if no host bits are set, or if the address is in the interface's own network: the author may have
// meant a single host.
static std::optional<std::string> without_host_bits(std::string piece, const std::optional<IpNetwork>& own) {
  const std::string text = trimmed(piece);
  const std::optional<IpNetwork> network = parse_ip_network(text);
  if (!network || network->masked().address == network->address) return std::nullopt;
  if (own && own->contains(*network)) return std::nullopt;
  return piece.replace(piece.find(text), text.size(), to_text(network->masked()));
}

static void add_host_bits(const WireguardPeer& peer, const std::optional<IpNetwork>& own,
                          Findings& findings) {
  std::string message;
  std::string fixed;
  for (const std::string& piece : peer.networks()) {
    const std::optional<std::string> network = without_host_bits(piece, own);
    if (network && message.empty())
      message = trimmed(piece) + " has host bits set; the network is " + trimmed(*network);
    fixed += network.value_or(piece) + ",";
  }
  if (message.empty()) return;
  fixed.pop_back();
  const Json::Value& location = location_of(*peer.settings, "allowed_ips");
  findings.add(location, message, write_string_instead(location, fixed));
}

void wireguard_network_host_bits(const Site& site, Findings& findings) {
  for (const WireguardInterface& interface : site.wireguard_interfaces) {
    const std::optional<IpNetwork> own = parse_ip_network(interface.address.value_or(""));
    for (const WireguardPeer& peer : interface.peers)
      add_host_bits(peer, own, findings);
  }
}

void wireguard_endpoint(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    if (!peer.endpoint) return;
    const std::string& endpoint = *peer.endpoint;
    const Json::Value& location = location_of(*peer.settings, "endpoint");
    const std::size_t colon = endpoint.rfind(':');
    const std::optional<int> port = colon != std::string::npos && colon > 0
                                        ? parse_number(endpoint.substr(colon + 1), 65535)
                                        : std::nullopt;
    if (!port) {
      findings.add(location, quoted(endpoint) + " is not HOST:PORT");
    } else if (*port == 0) {
      findings.add(location, quoted(endpoint) + " has port 0: a port is from 1 to 65535");
    } else if (is_malformed_address(endpoint.substr(0, colon))) {
      findings.add(location, quoted(endpoint.substr(0, colon)) + " is not an IPv4 address");
    }
  });
}

void wireguard_endpoint_unreachable(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    const std::string endpoint = peer.endpoint.value_or("");
    const std::optional<Ipv4> address = parse_ipv4(endpoint.substr(0, endpoint.rfind(':')));
    if (!address) return;
    // Reachability does not matter if no other host can have the address.
    if (site.reachability().why_no_other_host(*address)) return;
    add_if_any(site.reachability().why_unreachable(*address), location_of(*peer.settings, "endpoint"),
               findings);
  });
}

void wireguard_keep_alive(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const WireguardPeer& peer) {
    constexpr int kLongest = 65535;
    if (peer.keep_alive.value_or(0) <= kLongest) return;
    findings.add(location_of(*peer.settings, "keep_alive"),
                 std::to_string(*peer.keep_alive) + " s is too long: the maximum is 65535 s");
  });
}

#include "cli/lint/wireguard.h"

#include <arpa/inet.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "config/lookup.h"
#include "platform/libcmd.h"

// Calls `judge` with each enabled interface of an enabled WireGuard.
template <typename Judge>
static void for_each_interface(const Site& site, Judge judge) {
  if (!is_true(site.root, "tunnels.wireguard.enable")) return;
  for (const Json::Value& interface : array_at(site.root, "tunnels.wireguard.interfaces")) {
    if (is_enabled(interface)) judge(interface);
  }
}

template <typename Judge>
static void for_each_peer(const Site& site, Judge judge) {
  for_each_interface(site, [&](const Json::Value& interface) {
    for (const Json::Value& peer : array_at(interface, "peers"))
      judge(peer);
  });
}

// Whether the text is 32 bytes in base64: 43 digits, the last of which stands for four bits, and the padding.
static bool is_key(std::string_view text) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::string_view kLastDigits = "AEIMQUYcgkosw048";
  return text.size() == 44 && text[43] == '=' && kLastDigits.find(text[42]) != std::string_view::npos &&
         text.substr(0, 42).find_first_not_of(kDigits) == std::string_view::npos;
}

static bool is_number_up_to(std::string_view text, int most) {
  return !text.empty() && text.size() < 6 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
         std::stoi(std::string(text)) <= most;
}

// Whether the text is an address of either family, with a prefix length or without one.
static bool is_network(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::string address = text.substr(0, slash);
  in6_addr unused{};
  const bool is_ipv6 = inet_pton(AF_INET6, address.c_str(), &unused) == 1;
  if (!is_ipv6 && !parse_ipv4(address)) return false;
  return slash == std::string::npos || is_number_up_to(text.substr(slash + 1), is_ipv6 ? 128 : 32);
}

void wireguard_public_key(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const Json::Value& peer) {
    const std::string key = string_at(peer, "public_key").value_or("");
    if (key.empty()) {
      findings.add(place_of(peer, "public_key"), "a peer needs a \"public_key\"; without one it is left out");
    } else if (!is_key(key)) {
      findings.add(place_of(peer, "public_key"), "a key is 32 bytes in base64, 44 characters");
    }
  });
}

void wireguard_preshared_key(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const Json::Value& peer) {
    const std::string key = string_at(peer, "preshared_key").value_or("");
    if (key.empty() || is_key(key)) return;
    findings.add(place_of(peer, "preshared_key"), "a key is 32 bytes in base64, 44 characters");
  });
}

void wireguard_address(const Site& site, Findings& findings) {
  for_each_interface(site, [&](const Json::Value& interface) {
    const std::optional<std::string> address = string_at(interface, "local_addrs");
    if (!address) {
      findings.add(interface, "the interface has no address, \"local_addrs\"");
    } else if (!is_network(*address)) {
      findings.add(place_of(interface, "local_addrs"), quoted(*address) + " is not an address");
    }
  });
}

void wireguard_allowed_ips(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const Json::Value& peer) {
    const std::optional<std::string> list = string_at(peer, "allowed_ips");
    std::size_t begin = 0;
    while (list && begin <= list->size()) {
      const std::size_t end = std::min(list->find(',', begin), list->size());
      std::string network = list->substr(begin, end - begin);
      begin = end + 1;
      // systemd-networkd allows blanks around it.
      network.erase(0, network.find_first_not_of(" \t"));
      network.erase(network.find_last_not_of(" \t") + 1);
      if (!is_network(network))
        findings.add(place_of(peer, "allowed_ips"), quoted(network) + " is not a network");
    }
  });
}

void wireguard_endpoint(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const Json::Value& peer) {
    const std::string endpoint = string_at(peer, "endpoint").value_or("");
    if (endpoint.empty()) return;
    const std::size_t colon = endpoint.rfind(':');
    if (colon != std::string::npos && colon > 0 && is_number_up_to(endpoint.substr(colon + 1), 65535)) return;
    findings.add(place_of(peer, "endpoint"), quoted(endpoint) + " is not HOST:PORT");
  });
}

void wireguard_keep_alive(const Site& site, Findings& findings) {
  for_each_peer(site, [&](const Json::Value& peer) {
    int seconds = 0;
    if (!config_get_int(peer, &seconds, "keep_alive") || seconds <= 65535) return;
    findings.add(place_of(peer, "keep_alive"),
                 std::to_string(seconds) + " s is too long: 65535 is the longest");
  });
}

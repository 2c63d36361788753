#include "cli/lint/gre.h"

#include <unordered_set>
#include <vector>

#include "config/lookup.h"
#include "platform/libcmd.h"

// The tunnels that are enabled.
static std::vector<const Json::Value*> tunnels(const Site& site) {
  std::vector<const Json::Value*> enabled;
  for (const Json::Value& tunnel : array_at(site.root, "tunnels.gre")) {
    if (is_enabled(tunnel)) enabled.push_back(&tunnel);
  }
  return enabled;
}

// The networks behind a tunnel that get a route.
static std::vector<const Json::Value*> networks(const Json::Value& tunnel) {
  std::vector<const Json::Value*> routed;
  for (const Json::Value& network : array_at(tunnel, "tunnel_networks")) {
    if (network.isObject()) routed.push_back(&network);
  }
  return routed;
}

// The key that a tunnel lacks among those that give it an address; null when it has all of them.
static const char* missing_inner_key(const Json::Value& tunnel) {
  int prefix = 0;
  if (!text_at(tunnel, "tunnel_local_ip")) return "tunnel_local_ip";
  if (!config_get_int(tunnel, &prefix, "tunnel_netmask")) return "tunnel_netmask";
  return text_at(tunnel, "tunnel_remote_ip") ? nullptr : "tunnel_remote_ip";
}

void tunnel_without_inner_address(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    const char* missing = missing_inner_key(*tunnel);
    if (missing == nullptr) continue;
    findings.add(*tunnel, "the tunnel has no " + quoted(missing) +
                              ": it gets no address, and the tunnels after it are left out");
  }
}

void tunnel_address_malformed(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    for (const char* key : {"remote_ip", "local_ip", "tunnel_local_ip", "tunnel_remote_ip"}) {
      const std::optional<std::string> text = text_at(*tunnel, key);
      const bool is_dynamic = text == "dynamic" && std::string(key) == "local_ip";
      if (!text || is_dynamic || parse_ipv4(*text)) continue;
      findings.add(place_of(*tunnel, key), quoted(*text) + " is not an IPv4 address");
    }
  }
}

void tunnel_netmask_out_of_range(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    int prefix = 0;
    if (!config_get_int(*tunnel, &prefix, "tunnel_netmask") || (prefix >= 0 && prefix <= 32)) continue;
    findings.add(place_of(*tunnel, "tunnel_netmask"),
                 std::to_string(prefix) + " is not a prefix length, 0 to 32");
  }
}

void tunnel_without_remote(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    if (!text_at(*tunnel, "remote_ip")) findings.add(*tunnel, "the tunnel has no far end, \"remote_ip\"");
  }
}

void tunnel_twice(const Site& site, Findings& findings) {
  std::unordered_set<std::string> ends;
  for (const Json::Value* tunnel : tunnels(site)) {
    const std::string remote = text_at(*tunnel, "remote_ip").value_or("");
    const std::string local = text_at(*tunnel, "local_ip").value_or("");
    if (ends.insert(remote + " " + local).second) continue;
    findings.add(place_of(*tunnel, "remote_ip"),
                 "another tunnel has the same ends, and the kernel makes only one of them");
  }
}

void tunnel_network_malformed(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    for (const Json::Value* network : networks(*tunnel)) {
      const std::optional<std::string> address = text_at(*network, "dest_ip");
      int prefix = 0;
      const bool has_prefix = config_get_int(*network, &prefix, "dest_netmask");
      if (!address || !has_prefix) {
        findings.add(*network, "a network behind a tunnel needs \"dest_ip\" and \"dest_netmask\"");
      } else if (!parse_ipv4(*address)) {
        findings.add(place_of(*network, "dest_ip"), quoted(*address) + " is not an IPv4 address");
      } else if (prefix < 0 || prefix > 32) {
        findings.add(place_of(*network, "dest_netmask"),
                     std::to_string(prefix) + " is not a prefix length, 0 to 32");
      }
    }
  }
}

void tunnel_network_host_bits(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    for (const Json::Value* network : networks(*tunnel)) {
      const std::optional<Ipv4> address = parse_ipv4(text_at(*network, "dest_ip").value_or(""));
      int prefix = 0;
      if (!address || !config_get_int(*network, &prefix, "dest_netmask")) continue;
      const std::optional<Subnet> subnet = subnet_with(*address, prefix);
      if (!subnet || subnet->address == *address) continue;
      findings.add(place_of(*network, "dest_ip"),
                   to_text(*address) + " is a host of the network " + to_text(*subnet));
    }
  }
}

void tunnel_incoming_gateway(const Site& site, Findings& findings) {
  for (const Json::Value* tunnel : tunnels(site)) {
    if (!is_true(*tunnel, "route_incoming")) continue;
    const std::optional<std::string> gateway = text_at(*tunnel, "incoming_gre_gateway");
    if (!gateway) {
      findings.add(place_of(*tunnel, "route_incoming"),
                   "\"route_incoming\" needs the gateway \"incoming_gre_gateway\"");
    } else if (!parse_ipv4(*gateway)) {
      findings.add(place_of(*tunnel, "incoming_gre_gateway"), quoted(*gateway) + " is not an IPv4 address");
    }
  }
}

void tunnel_dynamic_without_cell(const Site& site, Findings& findings) {
  if (site.context.cell_enabled) return;
  for (const Json::Value* tunnel : tunnels(site)) {
    if (text_at(*tunnel, "local_ip") != "dynamic") continue;
    findings.add(place_of(*tunnel, "local_ip"),
                 "\"dynamic\" is the cellular address, and the cellular link is disabled");
  }
}

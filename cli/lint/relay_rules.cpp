#include "cli/lint/relay_rules.h"

#include <algorithm>
#include <cctype>
#include <functional>

#include "cli/lint/host_name.h"
#include "cli/lint/reachability.h"
#include "dnsmasq/dhcp_relay.h"

namespace {

// An enabled relay.
struct Relay {
  const Interface* interface;
  DhcpRelay settings;
};

}  // namespace

static std::vector<Relay> relays_of(const Site& site) {
  std::vector<Relay> relays;
  for (const Interface& interface : site.interfaces) {
    DhcpRelay relay = read_dhcp_relay(*interface.network);
    if (relay.is_enabled) relays.push_back({&interface, std::move(relay)});
  }
  return relays;
}

static bool is_used(const Relay& relay) {
  return relay.interface->sections.has_relay && relay.settings.is_written();
}

bool is_relay_used(const Interface& interface) {
  return is_used({&interface, read_dhcp_relay(*interface.network)});
}

// The end of a message about a relay that is not written for dnsmasq: the reason.
static std::string hindrance(const Relay& relay) {
  if (relay.interface->sections.has_relay) return " without \"ipv4\"";
  const Interface::Kind kind = relay.interface->kind;
  if (kind == Interface::Kind::kPassthroughPort) return ": it is in pass-through";
  return std::string(": no ") + word_for(kind) + " does";
}

// The relays that are written for dnsmasq.
static std::vector<Relay> used_relays(const Site& site) {
  std::vector<Relay> relays = relays_of(site);
  relays.erase(std::remove_if(relays.begin(), relays.end(), std::not_fn(is_used)), relays.end());
  return relays;
}

void relay_unused(const Site& site, Findings& findings) {
  for (const Relay& relay : relays_of(site)) {
    if (is_used(relay)) continue;
    findings.add(location_of(*relay.settings.dhcp, "dhcp_relay.enable"),
                 relay.interface->name + " does not relay" + hindrance(relay));
  }
}

void relay_without_server(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    const auto is_missing = [&relay](const char* key) {
      return string_at(*relay.settings.dhcp, key).value_or("").empty();
    };
    if (!std::all_of(std::begin(kRelayServerKeys), std::end(kRelayServerKeys), is_missing)) continue;
    findings.add(location_of(*relay.settings.dhcp, "dhcp_relay"),
                 "the relay of " + relay.interface->name + " has no server");
  }
}

// Whether the string is an address or a host name. A string without letters is meant as an address.
static bool is_server(const std::string& text) {
  const bool has_letter =
      std::any_of(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
  return parse_ipv4(text) || (has_letter && is_host_name(text));
}

void relay_server_malformed(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    for (const char* key : kRelayServerKeys) {
      const std::string server = string_at(*relay.settings.dhcp, key).value_or("");
      if (server.empty() || (read_relay_server(*relay.settings.dhcp, key) && is_server(server))) continue;
      findings.add(location_of(*relay.settings.dhcp, key),
                   quoted(server) + " is neither an IPv4 address nor a host name");
    }
  }
}

void relay_beside_server(const Site& site, Findings& findings) {
  std::vector<const Json::Value*> served;
  for (const DhcpServer& server : site.servers) {
    if (server.is_served) served.push_back(server.section.dhcp);
  }
  std::sort(served.begin(), served.end());
  for (const Relay& relay : used_relays(site)) {
    if (!std::binary_search(served.begin(), served.end(), relay.settings.dhcp)) continue;
    findings.add(location_of(*relay.settings.dhcp, "dhcp_relay.enable"),
                 relay.interface->name + " relays, so its DHCP server does not answer",
                 related_to(location_of(*relay.settings.dhcp, "enable"), "the DHCP server"));
  }
}

void relay_of_dhcp_client(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    const Json::Value& network = *relay.interface->network;
    if (!relay.interface->unit.is_dhcp_client) continue;
    findings.add(
        location_of(network, "protocol"),
        relay.interface->name + " relays only while a DHCP server gives it " + *relay.settings.local_ip,
        related_to(location_of(*relay.settings.dhcp, "dhcp_relay.enable"), "the relay"));
  }
}

// Calls `judge` with each relay that is written for dnsmasq, each address of its servers, and the location
// of that address. Skips servers that are given by name.
static void for_each_server_address(
    const Site& site, const std::function<void(const Relay&, Ipv4, const Json::Value&)>& judge) {
  for (const Relay& relay : used_relays(site)) {
    for (const char* key : kRelayServerKeys) {
      const Json::Value& dhcp = *relay.settings.dhcp;
      if (const auto server = parse_ipv4(read_relay_server(dhcp, key).value_or("")))
        judge(relay, *server, location_of(dhcp, key));
    }
  }
}

void relay_server_unusable(const Site& site, Findings& findings) {
  for_each_server_address(site, [&](const Relay& /*relay*/, Ipv4 server, const Json::Value& location) {
    add_if_any(site.reachability().why_no_other_host(server), location, findings);
  });
}

void relay_server_unreachable(const Site& site, Findings& findings) {
  for_each_server_address(site, [&](const Relay& /*relay*/, Ipv4 server, const Json::Value& location) {
    if (site.reachability().why_no_other_host(server)) return;
    add_if_any(site.reachability().why_unreachable(server), location, findings);
  });
}

void relay_server_beside_clients(const Site& site, Findings& findings) {
  for_each_server_address(site, [&](const Relay& relay, Ipv4 server, const Json::Value& location) {
    const Route* route = site.reachability().find(server);
    if (site.reachability().why_no_other_host(server) || route == nullptr) return;
    if (route->kind != Route::Kind::kConnected || route->owner != relay.interface->name) return;
    findings.add(location, to_text(server) + " is in the network of " + route->owner + ", like its clients",
                 related_to(*route->location, "the network of " + route->owner));
  });
}

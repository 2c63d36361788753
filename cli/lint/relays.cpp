#include "cli/lint/relays.h"

#include <algorithm>
#include <cctype>

#include "cli/lint/host_name.h"
#include "config/ports.h"
#include "dnsmasq/dhcp_relay.h"
#include "dnsmasq/passthrough.h"

namespace {

// A relay that is enabled.
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

// Whether the pass-through port is served as a LAN port in some state of the cellular link: without an
// address, with any gateway, or with the port's own.
static bool is_ever_ordinary(const Site& site, const std::string& port) {
  const auto is_ordinary_with = [&](const char* gateway) {
    return choose_passthrough_section(&site.context, port.c_str(), gateway) ==
           PassthroughSection::kOrdinaryPort;
  };
  return is_ordinary_with(nullptr) || is_ordinary_with("") ||
         is_ordinary_with(secondary_pair_of(port)->gateway);
}

// Why dnsmasq never gets the relay; empty when it does.
static std::string hindrance(const Site& site, const Relay& relay) {
  const std::string& name = relay.interface->name;
  switch (relay.interface->kind) {
    case Interface::Kind::kVlan:
      return name + " does not relay: no VLAN does";
    case Interface::Kind::kWifiClient:
      return name + " does not relay: no Wi-Fi client does";
    case Interface::Kind::kPassthroughPort:
      if (!is_ever_ordinary(site, name)) return name + " does not relay: it is in pass-through";
      break;
    case Interface::Kind::kPort:
    case Interface::Kind::kBridge:
    case Interface::Kind::kAccessPoint:
      break;
  }
  return relay.settings.local_ip ? "" : name + " does not relay without \"ipv4\"";
}

bool is_relay_used(const Site& site, const Interface& interface) {
  const DhcpRelay relay = read_dhcp_relay(*interface.network);
  return relay.is_enabled && hindrance(site, {&interface, relay}).empty();
}

// The relays that dnsmasq gets.
static std::vector<Relay> used_relays(const Site& site) {
  std::vector<Relay> relays = relays_of(site);
  const auto is_unused = [&site](const Relay& relay) { return !hindrance(site, relay).empty(); };
  relays.erase(std::remove_if(relays.begin(), relays.end(), is_unused), relays.end());
  return relays;
}

void relay_unused(const Site& site, Findings& findings) {
  for (const Relay& relay : relays_of(site)) {
    const std::string message = hindrance(site, relay);
    if (!message.empty()) findings.add(place_of(*relay.settings.dhcp, "dhcp_relay.enable"), message);
  }
}

void relay_without_server(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    const auto is_missing = [&relay](const char* key) {
      return string_at(*relay.settings.dhcp, key).value_or("").empty();
    };
    if (!std::all_of(std::begin(kRelayServerKeys), std::end(kRelayServerKeys), is_missing)) continue;
    findings.add(place_of(*relay.settings.dhcp, "dhcp_relay"),
                 relay.interface->name + " relays to no server");
  }
}

// An address, or a name: a text of numbers only is meant as an address.
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
      findings.add(place_of(*relay.settings.dhcp, key),
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
    findings.add(place_of(*relay.settings.dhcp, "dhcp_relay.enable"),
                 relay.interface->name + " relays, so its DHCP server answers nobody");
  }
}

void relay_of_dhcp_client(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    const Json::Value& network = *relay.interface->network;
    if (!relay.interface->unit.is_dhcp_client) continue;
    findings.add(
        place_of(network, "protocol"),
        relay.interface->name + " relays only while a DHCP server gives it " + *relay.settings.local_ip);
  }
}

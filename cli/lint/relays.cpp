#include "cli/lint/relays.h"

#include <algorithm>
#include <cctype>

#include "cli/lint/host_name.h"
#include "config/lookup.h"

namespace {

// A relay that is enabled.
struct Relay {
  const Interface* interface;
  const Json::Value* dhcp;  // its "dhcp" object
};

}  // namespace

static std::vector<Relay> relays_of(const Site& site) {
  std::vector<Relay> relays;
  for (const Interface& interface : site.interfaces) {
    const Json::Value* dhcp = object_at(*interface.network, "dhcp");
    if (dhcp != nullptr && is_true(*dhcp, "dhcp_relay.enable")) relays.push_back({&interface, dhcp});
  }
  return relays;
}

// Whether the port gets the lines of a LAN port in some state of the cellular link.
static bool is_ever_ordinary(const Site& site, const Json::Value& dhcp) {
  if (is_true(dhcp, "disable_dhcp_secondary")) return true;
  return !site.context.passthrough_auto && !is_enabled(dhcp);
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
      if (!is_ever_ordinary(site, *relay.dhcp)) return name + " does not relay: it is in pass-through";
      break;
    case Interface::Kind::kPort:
    case Interface::Kind::kBridge:
    case Interface::Kind::kAccessPoint:
      break;
  }
  return text_at(*relay.interface->network, "ipv4") ? "" : name + " does not relay without \"ipv4\"";
}

bool is_relay_used(const Site& site, const Interface& interface) {
  const Json::Value* dhcp = object_at(*interface.network, "dhcp");
  return dhcp != nullptr && is_true(*dhcp, "dhcp_relay.enable") &&
         hindrance(site, {&interface, dhcp}).empty();
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
    if (!message.empty()) findings.add(place_of(*relay.dhcp, "dhcp_relay.enable"), message);
  }
}

constexpr const char* kServers[] = {"dhcp_relay.relay_server1", "dhcp_relay.relay_server2"};

void relay_without_server(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    const auto is_missing = [&relay](const char* key) {
      return text_at(*relay.dhcp, key).value_or("").empty();
    };
    if (!std::all_of(std::begin(kServers), std::end(kServers), is_missing)) continue;
    findings.add(place_of(*relay.dhcp, "dhcp_relay"), relay.interface->name + " relays to no server");
  }
}

// An address, or a name: a text of numbers only is meant as an address.
static bool is_server(const std::string& text) {
  const bool has_letter =
      std::any_of(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
  return parse_ipv4(text) || (has_letter && is_host_name(text));
}

void relay_server_malformed(const Site& site, Findings& findings) {
  // dnsmasq gets no line for a shorter one.
  constexpr std::size_t kShortest = 3;
  for (const Relay& relay : used_relays(site)) {
    for (const char* key : kServers) {
      const std::string server = text_at(*relay.dhcp, key).value_or("");
      if (server.empty() || (server.size() >= kShortest && is_server(server))) continue;
      findings.add(place_of(*relay.dhcp, key),
                   quoted(server) + " is neither an IPv4 address nor a host name");
    }
  }
}

void relay_beside_server(const Site& site, Findings& findings) {
  std::vector<const Json::Value*> served;
  for (const DhcpServer& server : site.servers) {
    if (server.is_served) served.push_back(server.dhcp);
  }
  std::sort(served.begin(), served.end());
  for (const Relay& relay : used_relays(site)) {
    if (!std::binary_search(served.begin(), served.end(), relay.dhcp)) continue;
    findings.add(place_of(*relay.dhcp, "dhcp_relay.enable"),
                 relay.interface->name + " relays, so its DHCP server answers nobody");
  }
}

void relay_of_dhcp_client(const Site& site, Findings& findings) {
  for (const Relay& relay : used_relays(site)) {
    const Json::Value& network = *relay.interface->network;
    if (!relay.interface->is_dhcp_client()) continue;
    findings.add(
        place_of(network, "protocol"),
        relay.interface->name + " relays only while a DHCP server gives it " + *text_at(network, "ipv4"));
  }
}

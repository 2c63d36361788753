#include "cli/lint/bridge_network_rules.h"

#include <algorithm>
#include <vector>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/dhcp_relay.h"

namespace {

// A member of the bridge other than its primary; its own network is ignored.
struct SecondaryMember {
  std::string name;
  const Json::Value* location;  // in the list of members
  const Json::Value* network;   // never null
  NetworkUnit unit;
};

// An ignored setting, and the end of the message about it.
struct IgnoredSetting {
  const Json::Value* location;
  std::string what;
};

}  // namespace

static const Json::Value& location_of_member(const Site& site, const std::string& name) {
  const Json::Value& all = array_at(site.root, "wired.bridge.interfaces");
  return *std::find_if(all.begin(), all.end(), [&name](const Json::Value& member) {
    return has_text(member) && text_of(member) == name;
  });
}

static std::vector<SecondaryMember> secondary_members(const Site& site) {
  std::vector<SecondaryMember> found;
  const auto add = [&](const std::string& name, const std::string& network_path) {
    const Json::Value* network = object_at(site.root, network_path);
    if (network == nullptr || name == site.context.bridge_primary_interface) return;
    if (!is_bridge_member(&site.context, name)) return;
    found.push_back({name, &location_of_member(site, name), network, read_network_unit(*network)});
  };
  for (const EthernetPort& port : kEthernetPorts) {
    if (site.is_router_port(port.name)) add(port.name, wired_network_path(port.name));
  }
  for (const Radio& radio : kRadios) {
    if (is_wlan_ap_enabled(&site.context, radio.name)) add(radio.name, access_point_network_path(radio.name));
  }
  return found;
}

static bool has_bridge_address(const Site& site) {
  const Interface* bridge = site.find_interface(kBridgeName);
  if (bridge == nullptr) return false;
  const SecondaryAddress secondary = read_secondary_address(&site.context, kBridgeName, *bridge->network);
  return bridge->unit.ipv4 || bridge->unit.is_dhcp_client ||
         (secondary.is_wanted && secondary.pair != nullptr);
}

// The bridge if it has no address; null otherwise. Also null if its DHCP server is enabled, since
// server_incomplete then reports the missing address.
static const Interface* find_bridge_without_address(const Site& site) {
  const Interface* bridge = site.find_interface(kBridgeName);
  if (bridge == nullptr || has_bridge_address(site)) return nullptr;
  return read_dhcp_section(*bridge->network).is_enabled ? nullptr : bridge;
}

// The setting that gives a member an address, statically or by DHCP, which the bridge could use; null if
// there is none.
static const Json::Value* find_address(const SecondaryMember& member) {
  if (member.unit.is_dhcp_client) return &location_of(*member.network, "protocol");
  return member.unit.ipv4 ? &location_of(*member.network, "ipv4") : nullptr;
}

static std::optional<SecondaryMember> find_with_address(const std::vector<SecondaryMember>& secondary) {
  const auto found = std::find_if(secondary.begin(), secondary.end(), [](const SecondaryMember& member) {
    return find_address(member) != nullptr;
  });
  return found != secondary.end() ? std::optional(*found) : std::nullopt;
}

// Whether the bridge has no address although a member has one.
static bool is_address_elsewhere(const Site& site) {
  return find_bridge_without_address(site) != nullptr && find_with_address(secondary_members(site));
}

bool is_bridge_primary_wrong(const Site& site) {
  if (!site.context.bridge_enabled) return false;
  // `site.interfaces` does not contain members of the bridge.
  const bool is_outside = site.find_interface(site.context.bridge_primary_interface) != nullptr;
  return site.find_interface(kBridgeName) == nullptr || is_outside || is_address_elsewhere(site);
}

void bridge_primary_without_address(const Site& site, Findings& findings) {
  if (!is_address_elsewhere(site)) return;
  const std::optional<SecondaryMember> member = find_with_address(secondary_members(site));
  findings.add(location_of(site.root, "wired.bridge.primary_interface"),
               site.context.bridge_primary_interface + " has no address, so " + kBridgeName +
                   " has none: that of " + member->name + " is ignored",
               related_to(*find_address(*member), "the address of " + member->name));
}

void bridge_without_address(const Site& site, Findings& findings) {
  if (find_bridge_without_address(site) == nullptr || is_address_elsewhere(site)) return;
  // The VLANs that the bridge carries may have addresses instead.
  const bool has_vlan =
      std::any_of(site.interfaces.begin(), site.interfaces.end(), [&site](const Interface& interface) {
        return interface.kind == Interface::Kind::kVlan &&
               interface.port == site.context.bridge_primary_interface;
      });
  if (has_vlan) return;
  findings.add(location_of(site.root, "wired.bridge.primary_interface"),
               site.context.bridge_primary_interface + " has no address, so " + kBridgeName + " has none");
}

// The first ignored service of a member: its DHCP client, server, relay or default route, unless the bridge
// has the same. Nothing if there is none.
static std::optional<IgnoredSetting> find_ignored_service(const SecondaryMember& member,
                                                          const Interface& bridge) {
  const Json::Value& network = *member.network;
  if (member.unit.is_dhcp_client && !bridge.unit.is_dhcp_client)
    return IgnoredSetting{&location_of(network, "protocol"), "its DHCP client is ignored"};
  const Json::Value* dhcp = object_at(network, "dhcp");
  const Json::Value* dhcp_of_bridge = object_at(*bridge.network, "dhcp");
  const bool is_same = dhcp != nullptr && dhcp_of_bridge != nullptr && *dhcp == *dhcp_of_bridge;
  if (!is_same && read_dhcp_section(network).is_enabled)
    return IgnoredSetting{&location_of(network, "dhcp.enable"), "its DHCP server is ignored"};
  if (!is_same && read_dhcp_relay(network).is_enabled)
    return IgnoredSetting{&location_of(network, "dhcp.dhcp_relay.enable"), "its DHCP relay is ignored"};
  if (member.unit.default_gateway() && member.unit.default_gateway() != bridge.unit.default_gateway())
    return IgnoredSetting{&location_of(network, "gateway"), "its default route is ignored"};
  return std::nullopt;
}

static std::optional<IgnoredSetting> find_ignored_address(const SecondaryMember& member,
                                                          const Interface& bridge) {
  const Json::Value& network = *member.network;
  if (!member.unit.is_dhcp_client && member.unit.ipv4 && member.unit.ipv4 != bridge.unit.ipv4)
    return IgnoredSetting{&location_of(network, "ipv4"), "its address is ignored"};
  if (is_true(network, "advanced.enable_secondary_ip"))
    return IgnoredSetting{&location_of(network, "advanced.enable_secondary_ip"),
                          "its secondary address is ignored"};
  if (member.unit.has_mtu() && member.unit.mtu != bridge.unit.mtu)
    return IgnoredSetting{&location_of(network, "advanced.mtu"), "its MTU is ignored"};
  return std::nullopt;
}

static void add_ignored(const Site& site, const SecondaryMember& member, const IgnoredSetting& ignored,
                        Findings& findings) {
  findings.add(*ignored.location, member.name + " is a member of the bridge, so " + ignored.what,
               {{{range_of(*member.location), member.name + " is a member"},
                 {range_of(location_of(site.root, "wired.bridge.primary_interface")),
                  std::string(kBridgeName) + " has the network of " + site.context.bridge_primary_interface}},
                {}});
}

void bridge_member_service(const Site& site, Findings& findings) {
  if (!has_bridge_address(site) || is_bridge_primary_wrong(site)) return;
  const Interface& bridge = *site.find_interface(kBridgeName);
  for (const SecondaryMember& member : secondary_members(site)) {
    if (const auto ignored = find_ignored_service(member, bridge))
      add_ignored(site, member, *ignored, findings);
  }
}

void bridge_member_address(const Site& site, Findings& findings) {
  if (!has_bridge_address(site) || is_bridge_primary_wrong(site)) return;
  const Interface& bridge = *site.find_interface(kBridgeName);
  for (const SecondaryMember& member : secondary_members(site)) {
    if (find_ignored_service(member, bridge)) continue;
    if (const auto ignored = find_ignored_address(member, bridge))
      add_ignored(site, member, *ignored, findings);
  }
}

#include "cli/lint/bridge_rules.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/ethernet.h"
#include "networkd/wifi.h"
#include "util/json_path.h"

// The member list of the bridge in the configuration; empty if the bridge is not enabled.
static const Json::Value& members(const Site& site) {
  static const Json::Value kNone(Json::arrayValue);
  return site.context.bridge_enabled ? array_at(site.root, "wired.bridge.interfaces") : kNone;
}

// Whether the name is that of a VLAN on a port, such as eth0.20.
static bool is_vlan_name(const std::string& name) {
  const std::size_t dot = name.find('.');
  return dot != std::string::npos && find_ethernet_port(name.substr(0, dot)) != nullptr;
}

// The client settings of a radio that is a Wi-Fi client and not an access point; null for any other name.
static const Json::Value* find_client(const Site& site, const std::string& name) {
  if (find_radio(name) == nullptr || is_wlan_ap_enabled(&site.context, name.c_str())) return nullptr;
  const Json::Value* client = object_at(site.root, "wireless.wifi." + name + ".client");
  return client != nullptr && read_wifi_client(*client).is_enabled ? client : nullptr;
}

// Whether the configuration contains the port or the access point, enabled or not.
static bool is_configured(const Site& site, const std::string& name) {
  if (find_ethernet_port(name) != nullptr) return object_at(site.root, "wired." + name) != nullptr;
  return find_radio(name) != nullptr && object_at(site.root, "wireless.wifi." + name + ".ap") != nullptr;
}

void bridge_member_unknown(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    if (!member.isString() || is_configured(site, member.asString())) continue;
    const std::string name = member.asString();
    if (find_client(site, name) != nullptr) continue;
    findings.add(member, is_vlan_name(name)
                             ? name + " is a VLAN: only ports and access points can be members"
                             : "the configuration has no port or access point " + quoted(name));
  }
}

void bridge_member_not_a_name(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    if (!member.isString()) findings.add(member, "expected an interface name");
  }
}

void bridge_member_twice(const Site& site, Findings& findings) {
  std::unordered_map<std::string, const Json::Value*> locations;
  for (const Json::Value& member : members(site)) {
    if (!member.isString()) continue;
    const std::string name = member.asString();
    const auto [first, is_new] = locations.emplace(name, &member);
    if (!is_new)
      findings.add(member, name + " is already a member", related_to(*first->second, "the first " + name));
  }
}

void bridge_member_passthrough(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    const Interface* interface = member.isString() ? site.find_interface(member.asString()) : nullptr;
    if (interface == nullptr || interface->kind != Interface::Kind::kPassthroughPort) continue;
    findings.add(member, interface->name + " is in pass-through mode, so it stays outside the bridge",
                 related_to(location_of(*interface->network, "mode"), "the mode of " + interface->name));
  }
}

// The location that disables a port or an access point: its "enable", or the object that lacks it. Null if
// the interface is enabled, and for a radio that is a client.
static const Json::Value* find_disabled(const Site& site, const std::string& name) {
  if (find_ethernet_port(name) != nullptr) {
    const Json::Value& port = *object_at(site.root, "wired." + name);
    return read_port_settings(port).is_enabled ? nullptr : &location_of(port, "enable");
  }
  if (is_wlan_ap_enabled(&site.context, name.c_str()) || find_client(site, name) != nullptr) return nullptr;
  return &location_of(*object_at(site.root, "wireless.wifi." + name + ".ap"), "enable");
}

// Whether the bridge has members, all of which are disabled access points.
static bool has_only_disabled_radios(const Site& site) {
  const Json::Value& all = members(site);
  return !all.empty() && std::all_of(all.begin(), all.end(), [&site](const Json::Value& member) {
    return member.isString() && find_radio(member.asString()) != nullptr &&
           is_configured(site, member.asString()) && find_disabled(site, member.asString()) != nullptr;
  });
}

void bridge_member_disabled(const Site& site, Findings& findings) {
  if (has_only_disabled_radios(site)) return;
  for (const Json::Value& member : members(site)) {
    if (!member.isString() || !is_configured(site, member.asString())) continue;
    const std::string name = member.asString();
    const Json::Value* disabled = find_disabled(site, name);
    if (disabled == nullptr) continue;
    const bool is_port = find_ethernet_port(name) != nullptr;
    findings.add(member,
                 is_port ? name + " is disabled, but comes up again with the bridge"
                         : "the access point " + name + " is disabled, so it does not join",
                 related_to(*disabled, name + " is disabled"));
  }
}

void bridge_member_client(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    const std::string name = member.isString() ? member.asString() : "";
    const Json::Value* client = find_client(site, name);
    if (client == nullptr) continue;
    findings.add(member, "the radio " + name + " is a Wi-Fi client, which cannot join a bridge",
                 related_to(location_of(*client, "enable"), name + " is a client"));
  }
}

void bridge_without_members(const Site& site, Findings& findings) {
  if (!site.context.bridge_enabled) return;
  const Json::Value& bridge = *object_at(site.root, "wired.bridge");
  const Json::Value* list = find_path(bridge, "interfaces");
  // wrong_type reports any value that is not an array.
  if (list != nullptr && !list->isArray()) return;
  if (list == nullptr || list->empty()) {
    findings.add(location_of(bridge, "interfaces"),
                 std::string("the bridge has no members, so ") + kBridgeName + " never comes up");
  } else if (has_only_disabled_radios(site)) {
    FindingDetails details;
    for (const Radio& radio : kRadios) {
      if (is_bridge_member(&site.context, radio.name))
        details.related.push_back({range_of(*find_disabled(site, radio.name)),
                                   std::string("the access point ") + radio.name + " is disabled"});
    }
    findings.add(*list, std::string("all members are disabled, so ") + kBridgeName + " never comes up",
                 std::move(details));
  }
}

void bridge_primary_missing(const Site& site, Findings& findings) {
  if (!site.context.bridge_enabled || string_at(site.root, "wired.bridge.primary_interface")) return;
  findings.add(location_of(site.root, "wired.bridge"),
               "the bridge has no \"primary_interface\" to take its network from");
}

// The primary of the bridge if it is not a member. Nothing otherwise, and if the bridge has no primary, no
// network or no members, which other rules report.
static std::optional<std::string> find_primary_outside(const Site& site) {
  const std::optional<std::string> primary = string_at(site.root, "wired.bridge.primary_interface");
  if (!primary || site.find_interface(kBridgeName) == nullptr || members(site).empty()) return std::nullopt;
  return interface_is_bridged(&site.context, *primary) ? std::nullopt : primary;
}

void bridge_primary_not_a_member(const Site& site, Findings& findings) {
  const std::optional<std::string> primary = find_primary_outside(site);
  const Interface* interface = primary ? site.find_interface(*primary) : nullptr;
  if (interface == nullptr) return;
  findings.add(location_of(site.root, "wired.bridge.primary_interface"),
               *primary + " is not a member of the bridge",
               related_to(location_of(*interface->network, "ipv4"),
                          std::string("the address of ") + kBridgeName + " and " + *primary));
}

void bridge_primary_disabled(const Site& site, Findings& findings) {
  const std::optional<std::string> primary = find_primary_outside(site);
  if (!primary || site.find_interface(*primary) != nullptr) return;
  findings.add(location_of(site.root, "wired.bridge.primary_interface"),
               *primary + " is neither enabled nor a member of the bridge, which has its network");
}

void bridge_primary_without_network(const Site& site, Findings& findings) {
  const std::optional<std::string> primary = string_at(site.root, "wired.bridge.primary_interface");
  if (!site.context.bridge_enabled || !primary || site.find_interface(kBridgeName) != nullptr) return;
  if (is_bridge_member(&site.context, *primary) && find_client(site, *primary) != nullptr) return;
  findings.add(location_of(site.root, "wired.bridge.primary_interface"),
               quoted(*primary) + " has no \"network\" for the bridge to use");
}

#include "cli/lint/bridge_rules.h"

#include <unordered_set>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/ethernet.h"

// The members of an enabled bridge, in the configuration itself; none while it is not enabled.
static const Json::Value& members(const Site& site) {
  static const Json::Value kNone(Json::arrayValue);
  return site.context.bridge_enabled ? array_at(site.root, "wired.bridge.interfaces") : kNone;
}

// Whether the configuration has the interface at all, enabled or not.
static bool is_configured(const Site& site, const std::string& name) {
  if (find_ethernet_port(name) != nullptr) return object_at(site.root, "wired." + name) != nullptr;
  return find_radio(name) != nullptr && object_at(site.root, "wireless.wifi." + name + ".ap") != nullptr;
}

void bridge_member_unknown(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    if (!member.isString() || is_configured(site, member.asString())) continue;
    findings.add(member, "the configuration has no port or access point " + quoted(member.asString()));
  }
}

void bridge_member_not_a_name(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    if (!member.isString()) findings.add(member, "a member is the name of an interface");
  }
}

void bridge_member_twice(const Site& site, Findings& findings) {
  std::unordered_set<std::string> names;
  for (const Json::Value& member : members(site)) {
    if (member.isString() && !names.insert(member.asString()).second) {
      findings.add(member, member.asString() + " is already a member");
    }
  }
}

void bridge_member_passthrough(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    const Interface* interface = member.isString() ? site.find_interface(member.asString()) : nullptr;
    if (interface == nullptr || interface->kind != Interface::Kind::kPassthroughPort) continue;
    findings.add(member, interface->name + " is in pass-through mode, so it stays outside the bridge");
  }
}

void bridge_member_disabled(const Site& site, Findings& findings) {
  for (const Json::Value& member : members(site)) {
    if (!member.isString() || !is_configured(site, member.asString())) continue;
    const std::string name = member.asString();
    const bool is_port = find_ethernet_port(name) != nullptr;
    if (is_port && !read_port_settings(*object_at(site.root, "wired." + name)).is_enabled) {
      findings.add(member, name + " is disabled, but comes up again with the bridge");
    } else if (!is_port && !is_wlan_ap_enabled(&site.context, name.c_str())) {
      findings.add(member, "the access point " + name + " is disabled, so it does not join");
    }
  }
}

void bridge_primary_missing(const Site& site, Findings& findings) {
  if (!site.context.bridge_enabled || string_at(site.root, "wired.bridge.primary_interface")) return;
  findings.add(place_of(site.root, "wired.bridge"),
               "the bridge has no \"primary_interface\", whose network would be its own");
}

void bridge_primary_not_a_member(const Site& site, Findings& findings) {
  const std::optional<std::string> primary = string_at(site.root, "wired.bridge.primary_interface");
  if (!site.context.bridge_enabled || !primary || interface_is_bridged(&site.context, *primary)) return;
  findings.add(place_of(site.root, "wired.bridge.primary_interface"),
               *primary + " is not a member of the bridge");
}

void bridge_primary_without_network(const Site& site, Findings& findings) {
  const std::optional<std::string> primary = string_at(site.root, "wired.bridge.primary_interface");
  if (!site.context.bridge_enabled || !primary || site.find_interface(kBridgeName) != nullptr) return;
  findings.add(place_of(site.root, "wired.bridge.primary_interface"),
               quoted(*primary) + " has no \"network\" that could be that of the bridge");
}

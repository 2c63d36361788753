#include "cli/lint/vlan_rules.h"

#include <net/if.h>

#include <unordered_map>
#include <unordered_set>

#include "cli/lint/bridge_network_rules.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "platform/libcmd.h"

// Calls `judge` with the port and the settings of each enabled VLAN on a LAN port.
template <typename Judge>
static void for_each_vlan(const Site& site, Judge judge) {
  for (const EthernetPort& each : kEthernetPorts) {
    const std::string port = each.name;
    if (!site.is_router_port(port)) continue;
    for (const Vlan& vlan : read_vlans(object_at(site.root, wired_network_path(port) + ".advanced.vlan"))) {
      if (vlan.is_enabled) judge(port, vlan);
    }
  }
}

void vlan_id_missing(const Site& site, Findings& findings) {
  for_each_vlan(site, [&](const std::string& port, const Vlan& vlan) {
    if (!vlan.vid) findings.add(*vlan.settings, "a VLAN of " + port + " has no \"vid\"");
  });
}

void vlan_id_out_of_range(const Site& site, Findings& findings) {
  for_each_vlan(site, [&](const std::string& /*port*/, const Vlan& vlan) {
    if (!vlan.vid || (*vlan.vid >= 1 && *vlan.vid <= 4094)) return;
    findings.add(location_of(*vlan.settings, "vid"),
                 std::to_string(*vlan.vid) + " is not a VLAN ID (1 to 4094)");
  });
}

void vlan_id_twice(const Site& site, Findings& findings) {
  std::unordered_map<std::string, const Json::Value*> locations;
  for_each_vlan(site, [&](const std::string& port, const Vlan& vlan) {
    if (!vlan.vid) return;
    const std::string name = vlan_name(port.c_str(), *vlan.vid);
    const Json::Value& location = location_of(*vlan.settings, "vid");
    const auto [first, is_new] = locations.emplace(name, &location);
    if (!is_new)
      findings.add(location, name + " is already a VLAN", related_to(*first->second, "the first " + name));
  });
}

void vlan_without_network(const Site& site, Findings& findings) {
  for_each_vlan(site, [&](const std::string& port, const Vlan& vlan) {
    if (vlan.network() != nullptr) return;
    findings.add(*vlan.settings,
                 "a VLAN of " + port + " has no \"network\", so its interface is never created");
  });
}

void vlan_of_bridge_member(const Site& site, Findings& findings) {
  if (is_bridge_primary_wrong(site)) return;
  const std::string& primary = site.context.bridge_primary_interface;
  // All VLANs of a port have the same cause, so only the first one is reported.
  std::unordered_set<std::string> reported;
  for_each_vlan(site, [&](const std::string& port, const Vlan& vlan) {
    if (!is_bridge_member(&site.context, port) || port == primary || !reported.insert(port).second) return;
    findings.add(*vlan.settings,
                 "a bridge only carries the VLANs of its primary member, which " + port + " is not",
                 related_to(location_of(site.root, "wired.bridge.primary_interface"),
                            "the primary member is " + primary));
  });
}

// IFNAMSIZ, the limit of the kernel, includes the terminator.
static bool is_too_long(const std::string& name) {
  return name.size() >= IFNAMSIZ;
}

static std::string too_long(const std::string& name) {
  return "the interface name " + quoted(name) + " is longer than " + std::to_string(IFNAMSIZ - 1) +
         " characters";
}

void interface_name_too_long(const Site& site, Findings& findings) {
  for_each_vlan(site, [&](const std::string& port, const Vlan& vlan) {
    if (!vlan.vid) return;
    const std::string name = vlan_name(port.c_str(), *vlan.vid);
    if (is_too_long(name)) findings.add(location_of(*vlan.settings, "vid"), too_long(name));
  });
  if (site.context.bridge_enabled) {
    for (const Json::Value& member : array_at(site.root, "wired.bridge.interfaces")) {
      if (member.isString() && is_too_long(member.asString())) {
        findings.add(member, too_long(member.asString()));
      }
    }
  }
  for (const Json::Value& route : array_at(site.root, "static_routes")) {
    std::string name;
    if (get_static_route_interface(route, name) && is_too_long(name)) {
      findings.add(location_of(route, "interface"), too_long(name));
    }
  }
}

#include "cli/lint/route_interface_rules.h"

#include <net/if.h>

#include <algorithm>
#include <cstdlib>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "cli/config_file/nearest.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/ethernet.h"
#include "networkd/wifi.h"
#include "networkd/wwan_static_routes.h"
#include "tunnels/gre.h"

namespace {

// Why an interface gets no routes, and the locations that cause it.
struct Hindrance {
  std::string message;
  std::vector<RelatedLocation> related;
};

// Finds the hindrance of an interface; nothing if another rule reports the missing setting.
class MissingInterfaces {
 public:
  explicit MissingInterfaces(const Site& site)
      : site_(site), tunnels_(array_at(site.root, "tunnels.gre").size()) {
    for (const EthernetPort& port : kEthernetPorts)
      add_vlans(port.name);
    for (const Json::Value& member : array_at(site.root, "wired.bridge.interfaces")) {
      if (has_text(member) && is_bridge_member(&site.context, text_of(member)))
        members_.emplace(text_of(member), &member);
    }
    for (const Interface& interface : site.interfaces) {
      if (interface.kind != Interface::Kind::kVlan) known_.push_back(interface.name);
    }
    if (site.context.cell_enabled) known_.push_back(kWwanRouteInterface);
  }

  std::optional<Hindrance> find(const std::string& name) const {
    if (is_tunnel(name))
      return Hindrance{name + " is a tunnel, whose routes are its \"tunnel_networks\"", {}};
    if (const auto member = members_.find(name); member != members_.end()) {
      return Hindrance{name + " is a member of the bridge, whose routes are those of " + kBridgeName,
                       {{range_of(*member->second), name + " is a member"}}};
    }
    if (name == kWwanRouteInterface)
      return off("the cellular link is not enabled", object_at(site_.root, "wireless.cell"));
    if (name == kBridgeName) return of_bridge();
    if (find_ethernet_port(name) != nullptr) return of_port(name);
    if (find_radio(name) != nullptr) return of_radio(name);
    if (const auto vlan = vlans_.find(name); vlan != vlans_.end()) return of_vlan(name, *vlan->second);
    return unknown(name);
  }

 private:
  void add_vlans(const std::string& port) {
    for (const Json::Value& entry :
         array_at(site_.root, wired_network_path(port) + ".advanced.vlan.networks")) {
      if (const std::optional<int> vid = number_at(entry, "vid"))
        vlans_.emplace(vlan_name(port.c_str(), *vid), &entry);
    }
  }

  bool is_tunnel(const std::string& name) const {
    const std::size_t digits = name.find_last_not_of("0123456789") + 1;
    const unsigned long number = std::strtoul(name.c_str() + std::min(digits, name.size()), nullptr, 10);
    return number >= 1 && number <= tunnels_ && name == gre_tunnel_name(static_cast<int>(number - 1));
  }

  // `object` is the disabled object, or null.
  static Hindrance off(std::string message, const Json::Value* object) {
    Hindrance hindrance{std::move(message), {}};
    if (object == nullptr) return hindrance;
    const Json::Value& location = location_of(*object, "enable");
    hindrance.related.push_back(
        {range_of(location), &location == object ? "this has no \"enable\"" : "disabled here"});
    return hindrance;
  }

  Hindrance unknown(const std::string& name) const {
    const std::string problem = "no interface " + quoted(name) + " is configured";
    const bool is_known = find_ethernet_port(name) != nullptr || find_radio(name) != nullptr;
    const std::optional<std::string> close = is_known ? std::nullopt : nearest(name, known_);
    return {close ? problem + ": did you mean " + quoted(*close) + "?" : problem, {}};
  }

  std::optional<Hindrance> of_bridge() const {
    const Json::Value* bridge = object_at(site_.root, "wired.bridge");
    if (bridge == nullptr) return unknown(kBridgeName);
    if (site_.context.bridge_enabled) return std::nullopt;
    return off("the bridge is disabled", bridge);
  }

  std::optional<Hindrance> of_port(const std::string& name) const {
    const Json::Value* port = object_at(site_.root, "wired." + name);
    if (port == nullptr) return unknown(name);
    if (read_port_settings(*port).is_enabled) return std::nullopt;
    return off(name + " is disabled", port);
  }

  Hindrance of_radio(const std::string& name) const {
    const Json::Value* ap = object_at(site_.root, "wireless.wifi." + name + ".ap");
    const Json::Value* client = object_at(site_.root, "wireless.wifi." + name + ".client");
    const bool is_ap = is_wlan_ap_enabled(&site_.context, name.c_str());
    const bool is_client = client != nullptr && read_wifi_client(*client).is_enabled;
    if (is_ap || is_client || (ap == nullptr && client == nullptr)) return unknown(name);
    return ap != nullptr ? off("the access point " + name + " is disabled", ap)
                         : off("the Wi-Fi client " + name + " is disabled", client);
  }

  std::optional<Hindrance> of_vlan(const std::string& name, const Json::Value& entry) const {
    const std::string port_name = name.substr(0, name.find('.'));
    const Json::Value& port = *object_at(site_.root, "wired." + port_name);
    const PortSettings settings = read_port_settings(port);
    if (!settings.is_enabled) return off(port_name + ", the port of " + name + ", is disabled", &port);
    if (!settings.is_router) return of_vlan_in_passthrough(name, port_name);
    const Json::Value& vlans = *object_at(*settings.network, "advanced.vlan");
    if (!is_enabled(vlans)) return off("the VLANs of " + port_name + " are disabled", &vlans);
    if (!is_enabled(entry)) return off(name + " is disabled", &entry);
    return std::nullopt;
  }

  std::optional<Hindrance> of_vlan_in_passthrough(const std::string& name, const std::string& port) const {
    // Other rules report a port without a mode, and a second port in pass-through.
    if (site_.find_interface(port) == nullptr) return std::nullopt;
    return Hindrance{
        port + ", the port of " + name + ", is in pass-through, without VLANs",
        {{range_of(location_of(site_.root, wired_network_path(port) + ".mode")), "pass-through"}}};
  }

  const Site& site_;
  std::size_t tunnels_;
  std::unordered_map<std::string, const Json::Value*> members_;
  std::unordered_map<std::string, const Json::Value*> vlans_;
  std::vector<std::string> known_;
};

}  // namespace

void route_without_interface(const Site& site, Findings& findings) {
  const MissingInterfaces missing(site);
  for (const Json::Value& route : array_at(site.root, "static_routes")) {
    std::string name;
    // interface_name_too_long reports a name that is too long for the kernel.
    if (!is_enabled(route)) continue;
    if (!get_static_route_interface(route, name)) {
      findings.add(location_of(route, "interface"), "the route has no \"interface\"");
    } else if (!site.gets_routes(name) && name.size() < IFNAMSIZ) {
      if (auto hindrance = missing.find(name))
        findings.add(location_of(route, "interface"), hindrance->message,
                     {std::move(hindrance->related), {}});
    }
  }
}

#include "cli/lint/port_mode_rules.h"

#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/passthrough.h"
#include "networkd/ethernet.h"
#include "networkd/wwan.h"

namespace {

// An Ethernet port in the configuration, enabled or not.
struct ConfiguredPort : PortSettings {
  std::string name;
  const Json::Value* settings;  // never null
  std::optional<std::string> mode;
};

}  // namespace

static std::vector<ConfiguredPort> ports_of(const Site& site) {
  std::vector<ConfiguredPort> ports;
  for (const EthernetPort& port : kEthernetPorts) {
    const std::string name = port.name;
    const Json::Value* settings = object_at(site.root, "wired." + name);
    if (settings != nullptr)
      ports.push_back({read_port_settings(*settings), name, settings, string_at(*settings, "network.mode")});
  }
  return ports;
}

// The enabled port in pass-through mode; null if there is none.
static const Interface* find_enabled_passthrough(const Site& site) {
  for (const Interface& interface : site.interfaces)
    if (interface.kind == Interface::Kind::kPassthroughPort) return &interface;
  return nullptr;
}

void port_without_network(const Site& site, Findings& findings) {
  for (const ConfiguredPort& port : ports_of(site)) {
    if (port.is_enabled && port.network == nullptr)
      findings.add(location_of(*port.settings, "network"), port.name + " is enabled without a \"network\"");
  }
}

void port_mode_missing(const Site& site, Findings& findings) {
  for (const ConfiguredPort& port : ports_of(site)) {
    if (port.is_enabled && port.network != nullptr && !port.mode)
      findings.add(location_of(*port.network, "mode"), port.name + " is enabled without a \"mode\"");
  }
}

void passthrough_twice(const Site& site, Findings& findings) {
  for (const ConfiguredPort& port : ports_of(site)) {
    if (!port.is_enabled || !port.mode || port.is_router) continue;
    if (port.name != site.context.passthrough_interface)
      findings.add(
          location_of(*port.network, "mode"),
          "only one port can be in pass-through, and it is " + site.context.passthrough_interface,
          related_to(location_of(site.root, wired_network_path(site.context.passthrough_interface) + ".mode"),
                     "the mode of " + site.context.passthrough_interface));
  }
}

void passthrough_port_disabled(const Site& site, Findings& findings) {
  if (!site.context.cell_enabled) return;
  for (const ConfiguredPort& port : ports_of(site)) {
    if (port.name == site.context.passthrough_interface && !port.is_enabled)
      findings.add(location_of(*port.network, "mode"),
                   port.name + " is disabled, but its mode puts the cellular link into pass-through",
                   related_to(location_of(*port.settings, "enable"), port.name + " is disabled"));
  }
}

void passthrough_without_cell(const Site& site, Findings& findings) {
  const Interface* port = find_enabled_passthrough(site);
  if (port != nullptr && !site.context.cell_enabled)
    findings.add(location_of(*port->network, "mode"), "pass-through requires \"wireless.cell.enable\"");
}

void passthrough_incomplete(const Site& site, Findings& findings) {
  const Interface* port = find_enabled_passthrough(site);
  if (port == nullptr ||
      choose_passthrough_section(&site.context, port->name.c_str(), "") != PassthroughSection::kStaticWwan) {
    return;
  }
  if (port->unit.ipv4.value_or("").empty()) {
    findings.add(location_of(*port->network, "ipv4"),
                 "static pass-through serves DHCP only with an \"ipv4\"");
  } else if (!port->unit.prefix) {
    findings.add(location_of(*port->network, "netmask"),
                 "static pass-through serves DHCP only with a \"netmask\"");
  }
}

void passthrough_netmask(const Site& site, Findings& findings) {
  const Interface* port = find_enabled_passthrough(site);
  if (port == nullptr || !site.context.passthrough_auto || !site.context.cell_enabled) return;
  // A configured netmask of the cellular link takes precedence.
  const std::optional<int> prefix = read_passthrough_port(&site.context).prefix;
  if (!prefix || read_wwan_settings(&site.context).has_prefix()) return;
  if (!subnet_with(0, *prefix)) return;
  findings.add(location_of(*port->network, "netmask"),
               port->name + " takes the address of the cellular gateway with a prefix length of " +
                   std::to_string(*prefix) + " instead of the link's",
               related_to(location_of(*port->network, "mode"), "automatic pass-through"));
}

void fallback_without_address(const Site& site, Findings& findings) {
  const Interface* port = find_enabled_passthrough(site);
  if (port == nullptr || read_passthrough_port(&site.context).has_secondary_ip) return;
  findings.add(location_of(*port->network, "advanced.enable_secondary_ip"),
               "while the cellular link is down, " + port->name + " has no address for the fallback");
}

#include "cli/lint/port_modes.h"

#include "cli/config_file/nearest.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/passthrough.h"
#include "networkd/wwan.h"
#include "platform/libcmd.h"

namespace {

// An Ethernet port that the configuration has, enabled or not.
struct Port {
  std::string name;
  const Json::Value* settings;  // never null
  const Json::Value* network;   // null when it has none
  std::optional<std::string> mode;

  bool is_passthrough() const {
    return mode && *mode != "router";
  }
};

}  // namespace

static std::vector<Port> ports_of(const Site& site) {
  std::vector<Port> ports;
  for (const EthernetPort& port : kEthernetPorts) {
    const std::string name = port.name;
    const Json::Value* settings = object_at(site.root, "wired." + name);
    if (settings == nullptr) continue;
    const Json::Value* network = object_at(*settings, "network");
    ports.push_back({name, settings, network, network != nullptr ? text_at(*network, "mode") : std::nullopt});
  }
  return ports;
}

// The mode that the author had in mind; nothing when it is one that is known, or any other name for static
// pass-through.
static std::optional<std::string> intended_mode(const std::string& mode) {
  const std::optional<std::string> known = nearest(mode, {"router", "pass-through-auto"});
  return known != mode ? known : std::nullopt;
}

// The port in pass-through mode, enabled and with no typing error in its mode; null when there is none.
static const Interface* find_passthrough_port(const Site& site) {
  for (const Interface& interface : site.interfaces) {
    if (interface.kind != Interface::Kind::kPassthroughPort) continue;
    return intended_mode(text_at(*interface.network, "mode").value_or("")) ? nullptr : &interface;
  }
  return nullptr;
}

void port_without_network(const Site& site, Findings& findings) {
  for (const Port& port : ports_of(site)) {
    if (is_enabled(*port.settings) && port.network == nullptr)
      findings.add(place_of(*port.settings, "network"), port.name + " is enabled without a \"network\"");
  }
}

void port_mode_missing(const Site& site, Findings& findings) {
  for (const Port& port : ports_of(site)) {
    if (is_enabled(*port.settings) && port.network != nullptr && !port.mode)
      findings.add(place_of(*port.network, "mode"), port.name + " is enabled without a \"mode\"");
  }
}

void port_mode_misspelt(const Site& site, Findings& findings) {
  for (const Port& port : ports_of(site)) {
    if (!is_enabled(*port.settings) || !port.mode) continue;
    if (const auto intended = intended_mode(*port.mode))
      findings.add(place_of(*port.network, "mode"),
                   quoted(*port.mode) + " is static pass-through: did you mean " + quoted(*intended) + "?");
  }
}

void passthrough_twice(const Site& site, Findings& findings) {
  for (const Port& port : ports_of(site)) {
    if (!is_enabled(*port.settings) || !port.is_passthrough() || intended_mode(*port.mode)) continue;
    if (port.name != site.context.passthrough_interface)
      findings.add(place_of(*port.network, "mode"),
                   "only one port can be in pass-through, and it is " + site.context.passthrough_interface);
  }
}

void passthrough_port_disabled(const Site& site, Findings& findings) {
  if (!site.context.cell_enabled) return;
  for (const Port& port : ports_of(site)) {
    if (port.name == site.context.passthrough_interface && !is_enabled(*port.settings))
      findings.add(place_of(*port.network, "mode"),
                   port.name + " is disabled, but its mode puts the cellular link into pass-through");
  }
}

void passthrough_without_cell(const Site& site, Findings& findings) {
  const Interface* port = find_passthrough_port(site);
  if (port != nullptr && !site.context.cell_enabled)
    findings.add(place_of(*port->network, "mode"), "pass-through without \"wireless.cell.enable\"");
}

void passthrough_incomplete(const Site& site, Findings& findings) {
  const Interface* port = find_passthrough_port(site);
  if (port == nullptr ||
      choose_passthrough_section(&site.context, port->name.c_str(), "") != PassthroughSection::kStaticWwan) {
    return;
  }
  int prefix = 0;
  if (text_at(*port->network, "ipv4").value_or("").empty()) {
    findings.add(place_of(*port->network, "ipv4"), "static pass-through serves DHCP only with an \"ipv4\"");
  } else if (!config_get_int(*port->network, &prefix, "netmask")) {
    findings.add(place_of(*port->network, "netmask"),
                 "static pass-through serves DHCP only with a \"netmask\"");
  }
}

void fallback_without_address(const Site& site, Findings& findings) {
  const Interface* port = find_passthrough_port(site);
  if (port == nullptr || read_passthrough_port(&site.context).has_secondary_ip) return;
  findings.add(place_of(*port->network, "advanced.enable_secondary_ip"),
               "while the cellular link is down, " + port->name + " has no address for the fallback");
}

#include "cli/lint/static_lease_rules.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "cli/lint/dhcp_rules.h"
#include "cli/lint/host_name.h"
#include "cli/lint/mac.h"
#include "config/ports.h"
#include "dnsmasq/passthrough.h"

static std::optional<Ipv4> address_of(const StaticLease& lease) {
  return parse_ipv4(lease.ipv4.value_or(""));
}

namespace {

struct Owner {
  std::string name;  // in a message: "the address of eth0"
  const Json::Value* location;
};

}  // namespace

// The owners of reserved addresses.
using Owners = std::unordered_map<Ipv4, Owner>;

// dnsmasq reserves an address of a pass-through port for the port itself, with a static lease.
static void add_passthrough_ports(const Site& site, Owners& owners) {
  for (const Interface& interface : site.interfaces) {
    if (interface.kind != Interface::Kind::kPassthroughPort) continue;
    const SecondaryPair* pair = secondary_pair_of(interface.name);
    const std::string own = interface.unit.ipv4.value_or("");
    const bool is_automatic = choose_passthrough_section(&site.context, interface.name.c_str(), nullptr) ==
                              PassthroughSection::kAutomatic;
    const std::optional<Ipv4> address = parse_ipv4(is_automatic ? pair->gateway : own);
    const Json::Value& location = location_of(*interface.network, is_automatic ? "mode" : "ipv4");
    if (address) owners.emplace(*address, Owner{"the address of " + interface.name, &location});
  }
}

static std::string owner_of(const StaticLease& lease, const Interface& interface) {
  return "the static lease of " + lease.mac.value_or("another device") + " on " + interface.name;
}

void lease_address_twice(const Site& site, Findings& findings) {
  Owners owners;
  add_passthrough_ports(site, owners);
  for (const DhcpServer& server : site.servers) {
    if (!server.is_served) continue;
    for (const StaticLease& lease : read_static_leases(*server.section.dhcp)) {
      const std::optional<Ipv4> address = address_of(lease);
      if (!address) continue;
      const Json::Value& location = location_of(*lease.settings, "ipv4");
      const auto [known, is_new] =
          owners.emplace(*address, Owner{owner_of(lease, *server.interface), &location});
      const Owner& owner = known->second;
      if (is_new) continue;
      findings.add(location, to_text(*address) + " is already " + owner.name,
                   related_to(*owner.location, owner.name));
    }
  }
}

void lease_address_malformed(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    if (!server.is_served) continue;
    for (const StaticLease& lease : read_static_leases(*server.section.dhcp)) {
      const std::optional<std::string> text = lease.ipv4;
      if (!text && !server.is_idle) {
        findings.add(location_of(*lease.settings, "ipv4"), "a static lease without \"ipv4\"");
      } else if (text && !parse_ipv4(*text)) {
        findings.add(location_of(*lease.settings, "ipv4"), quoted(*text) + " is not an IPv4 address");
      }
    }
  }
}

// The pass-through port for whose device dnsmasq reserves the address; null if there is none.
static const Interface* find_fallback_of(const Site& site, Ipv4 address) {
  const Interface* port = find_passthrough_port(site);
  if (port == nullptr) return nullptr;
  return parse_ipv4(secondary_pair_of(port->name)->device) == address ? port : nullptr;
}

void lease_address_unusable(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    const std::optional<Subnet> subnet = server.interface->subnet();
    if (!server.is_served || server.is_idle || !subnet) continue;
    const std::string& name = server.interface->name;
    const Ipv4 own = *server.interface->address();
    const auto interface_address =
        related_to(location_of(*server.interface->network, "ipv4"), "the address of " + name);
    for (const StaticLease& lease : read_static_leases(*server.section.dhcp)) {
      const std::optional<Ipv4> address = address_of(lease);
      if (!address) continue;
      if (*address == own) {
        findings.add(location_of(*lease.settings, "ipv4"),
                     to_text(own) + " is the address of " + name + " itself", interface_address);
      } else if (!subnet->has_host(*address)) {
        findings.add(location_of(*lease.settings, "ipv4"), obstacle(*subnet, *address), interface_address);
      } else if (const Interface* port = find_fallback_of(site, *address)) {
        findings.add(location_of(*lease.settings, "ipv4"),
                     to_text(*address) + " is reserved for the fallback of " + port->name,
                     related_to(location_of(*port->network, "mode"), port->name + " is in pass-through"));
      }
    }
  }
}

// The name by which dnsmasq identifies a device if the string is not a MAC address, in lower case because
// dnsmasq ignores case; nothing for a string that dnsmasq reads as something else.
static std::optional<std::string> device_name(std::string text) {
  // A string that begins with a digit may be a lease time. "ignore" excludes a device, and "infinite" is a
  // lease time.
  const bool begins_with_letter = !text.empty() && std::isalpha(static_cast<unsigned char>(text[0])) != 0;
  if (!begins_with_letter || !is_host_name(text) || is_mac_without_colons(text) || text == "ignore" ||
      text == "infinite") {
    return std::nullopt;
  }
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

void lease_mac_malformed(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    if (!server.is_served) continue;
    for (const StaticLease& lease : read_static_leases(*server.section.dhcp)) {
      const std::optional<std::string> text = lease.mac;
      if (!text && !server.is_idle) {
        findings.add(location_of(*lease.settings, "mac"), "a static lease without \"mac\"");
      } else if (text && !normal_mac(*text) && !device_name(*text)) {
        findings.add(location_of(*lease.settings, "mac"),
                     quoted(*text) + " is not a MAC address like 02:00:5e:00:53:01");
      }
    }
  }
}

void lease_mac_twice(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    if (!server.is_served || server.is_idle) continue;
    // One device may have a static lease on each network.
    std::unordered_map<std::string, StaticLease> leases;
    for (const StaticLease& lease : read_static_leases(*server.section.dhcp)) {
      const std::string text = lease.mac.value_or("");
      const std::optional<std::string> mac = normal_mac(text);
      const std::optional<std::string> device = mac ? mac : device_name(text);
      if (!device) continue;
      const auto [known, is_new] = leases.emplace(*device, lease);
      const StaticLease& first = known->second;
      if (is_new) continue;
      findings.add(location_of(*lease.settings, "mac"),
                   text + " already has the static lease " + first.ipv4.value_or("another"),
                   related_to(location_of(*first.settings, "mac"), "the first static lease"));
    }
  }
}

void lease_by_name(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    if (!server.is_served || server.is_idle) continue;
    for (const StaticLease& lease : read_static_leases(*server.section.dhcp)) {
      const std::string text = lease.mac.value_or("");
      if (normal_mac(text) || !device_name(text)) continue;
      findings.add(location_of(*lease.settings, "mac"),
                   quoted(text) + " is a host name; any device can claim it");
    }
  }
}

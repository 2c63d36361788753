#include "cli/lint/address_rules.h"

#include <algorithm>
#include <functional>
#include <unordered_set>
#include <utility>

#include "cli/lint/connected_networks.h"
#include "cli/lint/dhcp_rules.h"
#include "cli/lint/value_fixes.h"
#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/ethernet.h"
#include "networkd/wwan.h"
#include "platform/libcmd.h"

static void add_if_malformed(const Site& site, const Json::Value& object, Findings& findings) {
  const std::optional<std::string> text = string_at(object, "ipv4");
  if (!text || parse_ipv4(*text)) return;
  const bool has_prefix = parse_ipv4(text->substr(0, text->find('/'))).has_value();
  const char* problem =
      has_prefix ? " has a prefix length, which belongs in \"netmask\"" : " is not an IPv4 address";
  findings.add(location_of(object, "ipv4"), quoted(*text) + problem,
               move_prefix_length(site.source.text, object, "ipv4", "netmask"));
}

// The "network" object of the pass-through port if that port is disabled: its unit is still written when the
// cellular link comes up. Null if there is no such port.
static const Json::Value* disabled_passthrough_network(const Site& site) {
  if (!site.context.passthrough_enabled) return nullptr;
  const Json::Value& port = *object_at(site.root, "wired." + site.context.passthrough_interface);
  const PortSettings settings = read_port_settings(port);
  return settings.is_enabled ? nullptr : settings.network;
}

void address_malformed(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    if (interface.unit.ipv4 && !interface.unit.is_dhcp_client)
      add_if_malformed(site, *interface.network, findings);
  }
  const Json::Value* disabled = disabled_passthrough_network(site);
  if (disabled != nullptr && read_passthrough_port(&site.context).address)
    add_if_malformed(site, *disabled, findings);
  for (const StaticRoute& route : site.routes)
    add_if_malformed(site, *route.settings, findings);
}

// Why no interface can have the address; null if one can.
static const char* why_unusable(const OwnAddress& own) {
  constexpr Ipv4 kLoopback = 127;
  constexpr Ipv4 kFirstMulticast = 224;
  const Ipv4 first_byte = own.address >> 24;
  if (own.address == 0) return "stands for a subnet that systemd-networkd chooses";
  if (first_byte == kLoopback) return "is a loopback address";
  if (first_byte >= kFirstMulticast) return "is not the address of one host";
  if (own.subnet.has_host(own.address)) return nullptr;
  return own.address == own.subnet.address ? "is the address of the network itself"
                                           : "is the broadcast address of the network";
}

void address_unusable(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    for (const OwnAddress& own : site.addresses_of(interface)) {
      if (const char* reason = why_unusable(own))
        findings.add(*own.location, to_text(own.address) + " " + reason);
    }
  }
}

void secondary_address_missing(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    const SecondaryAddress address =
        read_secondary_address(&site.context, interface.name, *interface.network);
    if (address.is_wanted && address.pair == nullptr)
      findings.add(location_of(*interface.network, "advanced.enable_secondary_ip"),
                   "there is no secondary address for " + interface.name);
  }
}

static void add_if_outside(const Json::Value& object, const std::string& path, const char* name, int first,
                           int last, Findings& findings) {
  int number = 0;
  if (!config_get_int(object, &number, path) || (number >= first && number <= last)) return;
  findings.add(location_of(object, path), std::string(name) + " " + std::to_string(number) + " is outside " +
                                              std::to_string(first) + " to " + std::to_string(last));
}

void netmask_out_of_range(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    // In automatic pass-through, the prefix length of the port replaces that which the cellular link
    // provides.
    const bool is_passthrough = interface.kind == Interface::Kind::kPassthroughPort;
    if (is_passthrough || (!interface.unit.is_dhcp_client && interface.unit.ipv4))
      add_if_outside(*interface.network, "netmask", "netmask", 1, 32, findings);
  }
  const Json::Value* disabled = disabled_passthrough_network(site);
  if (disabled != nullptr && read_passthrough_port(&site.context).prefix)
    add_if_outside(*disabled, "netmask", "netmask", 1, 32, findings);
  for (const StaticRoute& route : site.routes)
    add_if_outside(*route.settings, "netmask", "netmask", 0, 32, findings);
  // The unit of a cellular link that is up contains the setting, even if the link is disabled.
  if (read_wwan_settings(&site.context).prefix)
    add_if_outside(site.root, "wireless.cell.netmask", "netmask", 1, 32, findings);
}

// Interfaces with a DHCP server: server_incomplete reports their missing netmask.
static std::unordered_set<const Interface*> interfaces_with_servers(const Site& site) {
  std::unordered_set<const Interface*> interfaces;
  for (const DhcpServer& server : site.servers)
    if (server.interface->sections.has_server) interfaces.insert(server.interface);
  return interfaces;
}

void netmask_guessed(const Site& site, Findings& findings) {
  const std::unordered_set<const Interface*> serving = interfaces_with_servers(site);
  for (const Interface& interface : site.interfaces) {
    const std::optional<Ipv4> address = interface.address();
    if (!address || interface.kind == Interface::Kind::kPassthroughPort) continue;
    if (interface.unit.has_prefix() || (!interface.unit.prefix && serving.count(&interface) > 0)) continue;
    const std::string what = interface.unit.prefix ? "a netmask of 32 is not written to the unit"
                                                   : "there is no \"netmask\" for " + to_text(*address);
    findings.add(location_of(*interface.network, "netmask"),
                 what + ": systemd-networkd uses " + std::to_string(prefix_of_class(*address)));
  }
}

// Calls `report` with each subnet that lies within a subnet of another interface or tunnel, and with the
// smallest such outer subnet. Two subnets are either disjoint or nested, so the subnets around one form a
// stack.
static void for_each_overlap(
    const Site& site, const std::function<void(const ConnectedNetwork&, const ConnectedNetwork&)>& report) {
  const std::vector<ConnectedNetwork> subnets = connected_networks(site);
  std::vector<const ConnectedNetwork*> around;
  for (const ConnectedNetwork& inner : subnets) {
    while (!around.empty() && !around.back()->subnet.contains(inner.subnet.address))
      around.pop_back();
    const auto outer =
        std::find_if(around.rbegin(), around.rend(), [&inner](const ConnectedNetwork* candidate) {
          // A bridge whose primary is not a member shares the settings of that port, which another rule
          // reports.
          return candidate->owner != inner.owner && candidate->location != inner.location;
        });
    if (outer != around.rend()) report(inner, **outer);
    around.push_back(&inner);
  }
}

// Returns both networks, first the one that should change: the later one in the file, unless it is fixed and
// the other one is not.
static std::pair<const ConnectedNetwork*, const ConnectedNetwork*> in_order(const ConnectedNetwork& a,
                                                                            const ConnectedNetwork& b) {
  const bool is_a_later = a.location->getOffsetStart() > b.location->getOffsetStart();
  const bool is_a_first = a.is_fixed == b.is_fixed ? is_a_later : b.is_fixed;
  return is_a_first ? std::pair(&a, &b) : std::pair(&b, &a);
}

static FindingDetails network_of(const ConnectedNetwork& network) {
  return related_to(*network.location, "the network of " + network.owner);
}

// Calls `report` with each pair of overlapping networks, first the one that should change.
static void for_each_conflict(
    const Site& site,
    const std::function<void(const ConnectedNetwork& second, const ConnectedNetwork& first)>& report) {
  const std::unordered_set<std::string> over_passthrough = interfaces_over_passthrough(site);
  // Whether range_over_passthrough already reports the DHCP range of `other`.
  const auto is_reported = [&](const std::string& one, const std::string& other) {
    return one == site.context.passthrough_interface && over_passthrough.count(other) > 0;
  };
  for_each_overlap(site, [&](const ConnectedNetwork& inner, const ConnectedNetwork& outer) {
    if (is_reported(inner.owner, outer.owner) || is_reported(outer.owner, inner.owner)) return;
    const auto [second, first] = in_order(inner, outer);
    report(*second, *first);
  });
}

void subnet_twice(const Site& site, Findings& findings) {
  for_each_conflict(site, [&findings](const ConnectedNetwork& second, const ConnectedNetwork& first) {
    if (second.subnet.prefix != first.subnet.prefix) return;
    findings.add(*second.location, to_text(second.subnet) + " is already the network of " + first.owner,
                 network_of(first));
  });
}

void subnets_overlap(const Site& site, Findings& findings) {
  for_each_conflict(site, [&findings](const ConnectedNetwork& second, const ConnectedNetwork& first) {
    if (second.subnet.prefix == first.subnet.prefix) return;
    findings.add(
        *second.location,
        to_text(second.subnet) + " overlaps " + to_text(first.subnet) + ", the network of " + first.owner,
        network_of(first));
  });
}

// Limits for the MTU of an Ethernet interface, and the minimum for IPv6.
constexpr int kMinMtu = 68;
constexpr int kMaxMtu = 65535;
constexpr int kMinIpv6Mtu = 1280;

// Calls `judge` with the object and the path of each configured MTU of an interface or the cellular link.
static void for_each_interface_mtu(const Site& site,
                                   const std::function<void(const Json::Value&, const char*)>& judge) {
  for (const Interface& interface : site.interfaces) {
    if (interface.unit.mtu) judge(*interface.network, "advanced.mtu");
  }
  // The unit of a cellular link that is up contains the setting, even if the link is disabled.
  if (read_wwan_settings(&site.context).mtu) judge(site.root, "wireless.cell.mtu");
}

void mtu_out_of_range(const Site& site, Findings& findings) {
  for_each_interface_mtu(site, [&findings](const Json::Value& object, const char* path) {
    add_if_outside(object, path, "MTU", kMinMtu, kMaxMtu, findings);
  });
  for (const GreTunnel& tunnel : site.tunnels) {
    if (tunnel.mtu) add_if_outside(*tunnel.settings, "mtu_size", "MTU", kMinMtu, kMaxMtu, findings);
  }
}

void mtu_raised(const Site& site, Findings& findings) {
  for_each_interface_mtu(site, [&findings](const Json::Value& object, const char* path) {
    int mtu = 0;
    if (!config_get_int(object, &mtu, path) || mtu < kMinMtu || mtu >= kMinIpv6Mtu) return;
    findings.add(location_of(object, path), "systemd-networkd raises the MTU of " + std::to_string(mtu) +
                                                " to " + std::to_string(kMinIpv6Mtu) + " where IPv6 is on");
  });
}

// The MTU that an interface gets from its unit.
static int mtu_of(const Interface& interface) {
  if (!interface.unit.has_mtu()) return NetworkUnit::kUsualMtu;
  return std::max(*interface.unit.mtu, kMinIpv6Mtu);
}

// The interface that carries a VLAN: its port, or the bridge if that port is its primary member; null if
// there is none.
static const Interface* find_link(const Site& site, const Interface& vlan) {
  const Interface* port = site.find_interface(vlan.port);
  const bool is_on_bridge = port == nullptr && vlan.port == site.context.bridge_primary_interface;
  return is_on_bridge ? site.find_interface(kBridgeName) : port;
}

static FindingDetails mtu_details(const Interface& link) {
  const Json::Value& location = location_of(*link.network, "advanced.mtu");
  if (&location == link.network || !link.unit.mtu) return {};
  return related_to(location, "the MTU of " + link.name);
}

void mtu_above_link(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    const int mtu = interface.unit.mtu.value_or(0);
    if (mtu > kMaxMtu) continue;
    const Json::Value& location = location_of(*interface.network, "advanced.mtu");
    if (interface.kind == Interface::Kind::kBridge && mtu > NetworkUnit::kUsualMtu) {
      findings.add(location, "the members of the bridge keep an MTU of " +
                                 std::to_string(NetworkUnit::kUsualMtu) + ", and drop what is larger");
    }
    if (interface.kind != Interface::Kind::kVlan) continue;
    const Interface* link = find_link(site, interface);
    if (link == nullptr || mtu <= mtu_of(*link)) continue;
    findings.add(location,
                 "the MTU of " + interface.name + " cannot be above that of " + link->name + ", " +
                     std::to_string(mtu_of(*link)),
                 mtu_details(*link));
  }
}

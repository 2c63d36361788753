#include "cli/lint/address_rules.h"

#include <algorithm>
#include <functional>

#include "config/lookup.h"
#include "config/ports.h"
#include "networkd/wwan.h"
#include "platform/libcmd.h"

static void add_if_malformed(const Json::Value& object, Findings& findings) {
  const std::optional<std::string> text = string_at(object, "ipv4");
  if (!text || parse_ipv4(*text)) return;
  const bool has_prefix = parse_ipv4(text->substr(0, text->find('/'))).has_value();
  const char* problem =
      has_prefix ? " has a prefix length, which belongs in \"netmask\"" : " is not an IPv4 address";
  findings.add(place_of(object, "ipv4"), quoted(*text) + problem);
}

void address_malformed(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    if (interface.unit.ipv4 && !interface.unit.is_dhcp_client) add_if_malformed(*interface.network, findings);
  }
  for (const StaticRoute& route : site.routes)
    add_if_malformed(*route.settings, findings);
}

// Why no interface can have the address; null when one can.
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
        findings.add(*own.place, to_text(own.address) + " " + reason);
    }
  }
}

void secondary_address_missing(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    const SecondaryAddress address =
        read_secondary_address(&site.context, interface.name, *interface.network);
    if (address.is_wanted && address.pair == nullptr)
      findings.add(place_of(*interface.network, "advanced.enable_secondary_ip"),
                   "there is no secondary address for " + interface.name);
  }
}

static void add_if_outside(const Json::Value& object, const std::string& path, const char* name, int first,
                           int last, Findings& findings) {
  int number = 0;
  if (!config_get_int(object, &number, path) || (number >= first && number <= last)) return;
  findings.add(place_of(object, path), std::string(name) + " " + std::to_string(number) + " is outside " +
                                           std::to_string(first) + " to " + std::to_string(last));
}

void netmask_out_of_range(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    // The prefix length of a port in automatic pass-through replaces the link's.
    const bool is_passthrough = interface.kind == Interface::Kind::kPassthroughPort;
    if (is_passthrough || (!interface.unit.is_dhcp_client && interface.unit.ipv4))
      add_if_outside(*interface.network, "netmask", "netmask", 1, 32, findings);
  }
  for (const StaticRoute& route : site.routes)
    add_if_outside(*route.settings, "netmask", "netmask", 0, 32, findings);
  // The unit of a link that is up has it, enabled or not.
  if (read_wwan_settings(&site.context).prefix)
    add_if_outside(site.root, "wireless.cell.netmask", "netmask", 1, 32, findings);
}

// The prefix length that systemd-networkd takes for an address without one: that of its class.
static int prefix_of_class(Ipv4 address) {
  constexpr Ipv4 kFirstOfClassB = 128;
  constexpr Ipv4 kFirstOfClassC = 192;
  const Ipv4 first_byte = address >> 24;
  return first_byte < kFirstOfClassB ? 8 : first_byte < kFirstOfClassC ? 16 : 24;
}

void netmask_guessed(const Site& site, Findings& findings) {
  for (const Interface& interface : site.interfaces) {
    const std::optional<Ipv4> address = interface.address();
    if (!address || interface.kind == Interface::Kind::kPassthroughPort) continue;
    if (interface.unit.has_prefix()) continue;
    const std::string what = interface.unit.prefix ? "a netmask of 32 is left out of the unit"
                                                   : "there is no \"netmask\" for " + to_text(*address);
    findings.add(place_of(*interface.network, "netmask"),
                 what + ": systemd-networkd takes " + std::to_string(prefix_of_class(*address)));
  }
}

namespace {

// A subnet of an interface or a tunnel.
struct OwnedSubnet {
  std::string owner;
  Subnet subnet;
  const Json::Value* place;
};

}  // namespace

// Sorted so that each subnet follows those that contain it.
static std::vector<OwnedSubnet> all_subnets(const Site& site) {
  std::vector<OwnedSubnet> subnets;
  for (const Interface& interface : site.interfaces) {
    // Of two interfaces of one name, only the first can have its way.
    if (site.find_interface(interface.name) != &interface) continue;
    for (const OwnAddress& own : site.addresses_of(interface))
      subnets.push_back({interface.name, own.subnet, own.place});
  }
  for (const GreTunnel& tunnel : site.tunnels) {
    const std::optional<Subnet> subnet = parse_subnet(*tunnel.inner_local_ip, tunnel.inner_prefix);
    // Several tunnels may share one address that has no network around it.
    if (subnet && subnet->prefix < 32)
      subnets.push_back(
          {gre_tunnel_name(tunnel.index), *subnet, &place_of(*tunnel.settings, "tunnel_local_ip")});
  }
  std::sort(subnets.begin(), subnets.end(), [](const OwnedSubnet& a, const OwnedSubnet& b) {
    if (a.subnet.address != b.subnet.address) return a.subnet.address < b.subnet.address;
    if (a.subnet.prefix != b.subnet.prefix) return a.subnet.prefix < b.subnet.prefix;
    return a.place->getOffsetStart() < b.place->getOffsetStart();
  });
  return subnets;
}

// Calls `report` with each subnet that lies in one of another interface, and with the smallest such. Two
// subnets either have nothing in common or one contains the other, so the ones around a subnet are a stack.
static void for_each_overlap(const Site& site,
                             const std::function<void(const OwnedSubnet&, const OwnedSubnet&)>& report) {
  const std::vector<OwnedSubnet> subnets = all_subnets(site);
  std::vector<const OwnedSubnet*> around;
  for (const OwnedSubnet& inner : subnets) {
    while (!around.empty() && !around.back()->subnet.contains(inner.subnet.address))
      around.pop_back();
    const auto outer = std::find_if(around.rbegin(), around.rend(), [&inner](const OwnedSubnet* candidate) {
      // A bridge whose primary is no member shares the settings of that port, which has a finding of its own.
      return candidate->owner != inner.owner && candidate->place != inner.place;
    });
    if (outer != around.rend()) report(inner, **outer);
    around.push_back(&inner);
  }
}

void subnet_twice(const Site& site, Findings& findings) {
  for_each_overlap(site, [&findings](const OwnedSubnet& second, const OwnedSubnet& first) {
    if (second.subnet.prefix != first.subnet.prefix) return;
    findings.add(*second.place, to_text(second.subnet) + " is already the network of " + first.owner);
  });
}

void subnets_overlap(const Site& site, Findings& findings) {
  for_each_overlap(site, [&findings](const OwnedSubnet& inner, const OwnedSubnet& outer) {
    if (inner.subnet.prefix == outer.subnet.prefix) return;
    const bool is_later = inner.place->getOffsetStart() > outer.place->getOffsetStart();
    const OwnedSubnet& later = is_later ? inner : outer;
    const OwnedSubnet& earlier = is_later ? outer : inner;
    findings.add(*later.place, to_text(later.subnet) + " overlaps " + to_text(earlier.subnet) +
                                   ", the network of " + earlier.owner);
  });
}

// The limits of an Ethernet interface's MTU, and the least that IPv6 needs.
constexpr int kMinMtu = 68;
constexpr int kMaxMtu = 65535;
constexpr int kMinIpv6Mtu = 1280;

// Calls `judge` with the object and the path of each MTU that the unit of an interface gets.
static void for_each_interface_mtu(const Site& site,
                                   const std::function<void(const Json::Value&, const char*)>& judge) {
  for (const Interface& interface : site.interfaces) {
    if (interface.unit.mtu) judge(*interface.network, "advanced.mtu");
  }
  // The unit of a link that is up has it, enabled or not.
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
    findings.add(place_of(object, path), "systemd-networkd raises the MTU of " + std::to_string(mtu) +
                                             " to " + std::to_string(kMinIpv6Mtu) + " where IPv6 is on");
  });
}

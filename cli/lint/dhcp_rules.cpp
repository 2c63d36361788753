#include "cli/lint/dhcp_rules.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <unordered_set>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "dnsmasq/dhcp_relay.h"
#include "networkd/ethernet.h"
#include "platform/libcmd.h"
#include "util/json_path.h"

namespace {

// An address range that is written for dnsmasq.
struct Range {
  const Interface* interface;
  const Json::Value* dhcp;
  bool is_idle;

  std::optional<Ipv4> at(const char* key) const {
    return parse_ipv4(string_at(*dhcp, key).value_or(""));
  }
};

// A valid range from its lower to its higher address: dnsmasq swaps the ends of a reversed range.
struct ReadRange {
  const Range* range;
  Ipv4 first;
  Ipv4 last;
};

}  // namespace

static bool is_passthrough(const Interface& interface) {
  return interface.kind == Interface::Kind::kPassthroughPort;
}

// Reports why a server is not served: the "protocol" of its interface, or each key that is missing for a
// section.
static void add_missing(const DhcpServer& server, Findings& findings) {
  const Interface& interface = *server.interface;
  if (!interface.sections.has_server || interface.unit.is_dhcp_client) {
    findings.add(location_of(*interface.network, "protocol"),
                 interface.name + " serves DHCP only with a static address");
    return;
  }
  for (const auto& [object, key] : server.section.missing_keys)
    findings.add(location_of(*object, key),
                 quoted(key) + " is missing, so " + interface.name + " does not serve DHCP");
}

// Whether the interface is a VLAN that does not serve DHCP because its port does not.
static bool is_under_silent_port(const Interface& interface) {
  return interface.kind == Interface::Kind::kVlan && !interface.sections.has_server;
}

void server_incomplete(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    const Interface& interface = *server.interface;
    if (server.is_idle || is_passthrough(interface) || is_under_silent_port(interface)) continue;
    if (interface.kind == Interface::Kind::kWifiClient) {
      findings.add(location_of(*server.section.dhcp, "enable"), "a Wi-Fi client does not serve DHCP");
    } else {
      add_missing(server, findings);
    }
  }
}

// Names of the interfaces, except VLANs, with a DHCP server that is not served; other rules report these.
static std::unordered_set<std::string> incomplete_servers(const Site& site) {
  std::unordered_set<std::string> names;
  for (const DhcpServer& server : site.servers)
    if (!server.is_served && server.interface->kind != Interface::Kind::kVlan)
      names.insert(server.interface->name);
  return names;
}

void vlan_server_unserved(const Site& site, Findings& findings) {
  const std::unordered_set<std::string> incomplete = incomplete_servers(site);
  for (const DhcpServer& server : site.servers) {
    const Interface& interface = *server.interface;
    if (server.is_idle || !is_under_silent_port(interface)) continue;
    if (incomplete.count(interface.port) > 0) continue;
    findings.add(location_of(*server.section.dhcp, "enable"),
                 interface.name + " does not serve DHCP, because its port " + interface.port + " does not");
  }
}

void server_on_disabled_port(const Site& site, Findings& findings) {
  for (const EthernetPort& one : kEthernetPorts) {
    const std::string name = one.name;
    const Json::Value* port = object_at(site.root, "wired." + name);
    if (port == nullptr || read_port_settings(*port).is_enabled) continue;
    if (!is_eth_interface_enabled(&site.context, name.c_str())) continue;
    const LanSections sections = read_port_sections(&site.context, name.c_str());
    const bool is_served =
        sections.has_server ||
        (sections.has_relay && read_dhcp_relay(location_of(*port, "network")).is_enabled) ||
        site.context.passthrough_interface == name;
    if (!is_served) continue;
    findings.add(location_of(*port, "enable"),
                 name + " is disabled without \"enable\", but its DHCP settings are written for dnsmasq");
  }
}

void disabled_vlan_refused(const Site& site, Findings& findings) {
  for (const DhcpServer& server : site.servers) {
    if (!server.is_idle || !server.is_served) continue;
    const Json::Value& network = *server.interface->network;
    if (!parse_ipv4(*server.section.router)) {
      findings.add(location_of(network, "ipv4"), quoted(*server.section.router) + " is not an IPv4 address");
    }
    if (!subnet_with(0, *server.section.prefix)) {
      findings.add(location_of(network, "netmask"),
                   std::to_string(*server.section.prefix) + " is not a prefix length");
    }
  }
}

// The section while the cellular link is up with a gateway that is not the port's own.
static PassthroughSection section_of(const Site& site, const Interface& interface) {
  return choose_passthrough_section(&site.context, interface.name.c_str(), "");
}

bool serves_passthrough(const Site& site, const Interface& interface) {
  return section_of(site, interface) != PassthroughSection::kOrdinaryPort;
}

std::optional<PassthroughRange> passthrough_range(const Site& site, const Interface& interface) {
  if (section_of(site, interface) != PassthroughSection::kStaticWwan) return std::nullopt;
  return read_passthrough_range(*interface.network, interface.unit.ipv4.value_or(""));
}

static std::vector<Range> ranges_of(const Site& site) {
  std::vector<Range> ranges;
  for (const DhcpServer& server : site.servers) {
    const Interface& interface = *server.interface;
    if (server.is_served || (is_passthrough(interface) && passthrough_range(site, interface))) {
      ranges.push_back({&interface, server.section.dhcp, server.is_idle});
    }
  }
  return ranges;
}

// The valid ranges of servers that have clients. `ranges` must outlive the result.
static std::vector<ReadRange> read_ranges(const std::vector<Range>& ranges) {
  std::vector<ReadRange> read;
  for (const Range& range : ranges) {
    const std::optional<Ipv4> start = range.at("start");
    const std::optional<Ipv4> end = range.at("end");
    if (range.is_idle || !start || !end) continue;
    read.push_back({&range, std::min(*start, *end), std::max(*start, *end)});
  }
  return read;
}

static FindingDetails related_to_address_of(const Interface& interface) {
  return related_to(location_of(*interface.network, "ipv4"), "the address of " + interface.name);
}

static bool is_inside(const ReadRange& range, const Subnet& subnet) {
  return subnet.contains(range.first) && subnet.contains(range.last);
}

void range_malformed(const Site& site, Findings& findings) {
  for (const Range& range : ranges_of(site)) {
    for (const char* key : {"start", "end"}) {
      if (range.at(key)) continue;
      const std::optional<std::string> text = string_at(*range.dhcp, key);
      findings.add(location_of(*range.dhcp, key),
                   text ? quoted(*text) + " is not an IPv4 address" : quoted(key) + " is missing");
    }
  }
}

void range_outside_subnet(const Site& site, Findings& findings) {
  const std::vector<Range> ranges = ranges_of(site);
  for (const ReadRange& read : read_ranges(ranges)) {
    const std::optional<Subnet> subnet = read.range->interface->subnet();
    if (!subnet) continue;
    for (const char* key : {"start", "end"}) {
      const Ipv4 address = *read.range->at(key);
      if (subnet->contains(address)) continue;
      findings.add(location_of(*read.range->dhcp, key), obstacle(*subnet, address),
                   related_to_address_of(*read.range->interface));
    }
  }
}

void range_over_reserved(const Site& site, Findings& findings) {
  const std::vector<Range> ranges = ranges_of(site);
  for (const ReadRange& read : read_ranges(ranges)) {
    const Interface& interface = *read.range->interface;
    const std::optional<Subnet> subnet = interface.subnet();
    if (!subnet || !is_inside(read, *subnet)) continue;
    for (const char* key : {"start", "end"}) {
      const Ipv4 address = *read.range->at(key);
      if (subnet->has_host(address)) continue;
      findings.add(location_of(*read.range->dhcp, key), obstacle(*subnet, address),
                   related_to_address_of(interface));
    }
    const Ipv4 own = *interface.address();
    if (own < read.first || own > read.last) continue;
    findings.add(location_of(*read.range->dhcp, "start"),
                 "the range includes " + to_text(own) + ", the address of " + interface.name + " itself",
                 related_to_address_of(interface));
  }
}

void range_reversed(const Site& site, Findings& findings) {
  const std::vector<Range> ranges = ranges_of(site);
  for (const ReadRange& read : read_ranges(ranges)) {
    if (read.range->at("start") == read.first) continue;
    findings.add(
        location_of(*read.range->dhcp, "start"),
        "the range ends before it starts: " + to_text(read.first) + " is less than " + to_text(read.last));
  }
}

// The valid ranges by their first address. Skips a range outside its subnet: another rule reports it, and
// once that is fixed it may overlap no other.
static std::vector<ReadRange> ranges_in_order(const std::vector<Range>& ranges) {
  std::vector<ReadRange> read = read_ranges(ranges);
  const auto is_outside = [](const ReadRange& range) {
    const std::optional<Subnet> subnet = range.range->interface->subnet();
    return !subnet || !is_inside(range, *subnet);
  };
  read.erase(std::remove_if(read.begin(), read.end(), is_outside), read.end());
  std::sort(read.begin(), read.end(),
            [](const ReadRange& a, const ReadRange& b) { return a.first < b.first; });
  return read;
}

void range_overlap(const Site& site, Findings& findings) {
  const std::vector<Range> ranges = ranges_of(site);
  const ReadRange* furthest = nullptr;  // the earlier range with the highest end
  const std::vector<ReadRange> in_order = ranges_in_order(ranges);
  for (const ReadRange& read : in_order) {
    const bool overlaps = furthest != nullptr && read.first <= furthest->last;
    // If the primary of the bridge is not a member, both serve the same network.
    if (overlaps && read.range->dhcp != furthest->range->dhcp) {
      const bool is_later = read.range->dhcp->getOffsetStart() > furthest->range->dhcp->getOffsetStart();
      const Range& later = is_later ? *read.range : *furthest->range;
      const Range& earlier = is_later ? *furthest->range : *read.range;
      findings.add(
          location_of(*later.dhcp, "start"),
          "the range of " + later.interface->name + " overlaps that of " + earlier.interface->name,
          related_to(location_of(*earlier.dhcp, "start"), "the range of " + earlier.interface->name));
    }
    if (furthest == nullptr || read.last > furthest->last) furthest = &read;
  }
}

const Interface* find_passthrough_port(const Site& site) {
  return site.find_interface(site.context.passthrough_interface);
}

// The first address of this port's link-local pair that the range includes; nothing if it includes neither.
static std::optional<Ipv4> find_reserved(const ReadRange& read, const Interface& port) {
  const SecondaryPair& pair = *secondary_pair_of(port.name);
  for (const char* text : {pair.gateway, pair.device}) {
    const std::optional<Ipv4> address = parse_ipv4(text);
    if (*address >= read.first && *address <= read.last) return address;
  }
  return std::nullopt;
}

// Calls `report` with each range of another interface that includes an address of the pass-through port's
// pair.
static void for_each_range_over_passthrough(
    const Site& site, const std::function<void(const Range&, const Interface& port, Ipv4 reserved)>& report) {
  const Interface* port = find_passthrough_port(site);
  if (port == nullptr) return;
  const std::vector<Range> ranges = ranges_of(site);
  for (const ReadRange& read : read_ranges(ranges)) {
    const std::optional<Ipv4> reserved = find_reserved(read, *port);
    if (reserved && read.range->interface != port) report(*read.range, *port, *reserved);
  }
}

void range_over_passthrough(const Site& site, Findings& findings) {
  for_each_range_over_passthrough(site, [&](const Range& range, const Interface& port, Ipv4 reserved) {
    findings.add(location_of(*range.dhcp, "start"),
                 "the range includes " + to_text(reserved) + ", reserved for the fallback of " + port.name,
                 related_to(location_of(*port.network, "mode"), port.name + " is in pass-through"));
  });
}

std::unordered_set<std::string> interfaces_over_passthrough(const Site& site) {
  std::unordered_set<std::string> names;
  for_each_range_over_passthrough(site, [&names](const Range& range, const Interface& /*port*/,
                                                 Ipv4 /*reserved*/) { names.insert(range.interface->name); });
  return names;
}

static void add_text(const Json::Value& dhcp, const char* key, std::vector<const Json::Value*>& texts) {
  const Json::Value* text = find_path(dhcp, key);
  if (text != nullptr && text->isString()) texts.push_back(text);
}

// The lease times that are written for dnsmasq.
static std::vector<const Json::Value*> lease_times(const Site& site, bool with_idle_servers) {
  std::vector<const Json::Value*> times;
  for (const DhcpServer& server : site.servers) {
    if (server.is_served && (with_idle_servers || !server.is_idle))
      add_text(*server.section.dhcp, "leasetime", times);
  }
  for (const Interface& interface : site.interfaces) {
    const Json::Value* dhcp = object_at(*interface.network, "dhcp");
    if (!is_passthrough(interface) || dhcp == nullptr) continue;
    // The fallback is served in every mode.
    add_text(*dhcp, "secondary_leasetime", times);
    if (serves_passthrough(site, interface)) add_text(*dhcp, "leasetime", times);
  }
  return times;
}

// Seconds per unit for each suffix that dnsmasq accepts; 0 for any other character.
static std::uint64_t seconds_in(char suffix) {
  constexpr std::uint64_t kHour = 3600;
  constexpr std::uint64_t kDay = 24 * kHour;
  switch (std::tolower(static_cast<unsigned char>(suffix))) {
    case 's':
      return 1;
    case 'm':
      return 60;
    case 'h':
      return kHour;
    case 'd':
      return kDay;
    case 'w':
      return 7 * kDay;
    default:
      return 0;
  }
}

// A lease time in seconds; nothing if dnsmasq rejects the string, or if the number does not fit in 32 bits.
static std::optional<std::uint32_t> lease_seconds(const std::string& text) {
  // "deprecated" applies to IPv6 only; like an empty string, it leaves the default lease time in effect.
  if (text.empty() || text == "deprecated") return 3600;
  if (text == "infinite") return UINT32_MAX;
  const std::uint64_t unit = seconds_in(text.back());
  const std::string digits = unit == 0 ? text : text.substr(0, text.size() - 1);
  // The number of digits of UINT32_MAX. dnsmasq splits a line that leading zeros make too long.
  constexpr std::size_t kMaxDigits = 10;
  if (digits.size() > kMaxDigits) return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : digits) {
    if (std::isdigit(static_cast<unsigned char>(c)) == 0) return std::nullopt;
    number = number * 10 + static_cast<std::uint64_t>(c - '0');
  }
  const std::uint64_t seconds = number * std::max<std::uint64_t>(unit, 1);
  if (seconds > UINT32_MAX) return std::nullopt;
  return static_cast<std::uint32_t>(seconds);
}

void lease_time_malformed(const Site& site, Findings& findings) {
  for (const Json::Value* time : lease_times(site, true)) {
    if (!lease_seconds(time->asString())) {
      findings.add(*time, quoted(time->asString()) + " is not a lease time like 3600, 45m, 12h or infinite");
    }
  }
}

void lease_time_short(const Site& site, Findings& findings) {
  constexpr std::uint32_t kShortest = 120;
  for (const Json::Value* time : lease_times(site, false)) {
    const std::optional<std::uint32_t> seconds = lease_seconds(time->asString());
    if (seconds && *seconds < kShortest) {
      findings.add(*time,
                   quoted(time->asString()) + " is less than two minutes; dnsmasq uses two minutes instead");
    }
  }
}

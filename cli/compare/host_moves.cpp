#include "cli/compare/host_moves.h"

#include <optional>

#include "cli/compare/details.h"
#include "cli/compare/fields.h"
#include "cli/compare/routing.h"
#include "cli/compare/sentences.h"
#include "networkd/wwan_static_routes.h"

// Up to this many devices with static leases get a sentence each; more are only counted.
constexpr std::size_t kMostDevices = 8;

namespace {

// The network that the gateway provides to the hosts behind an interface.
struct Lan {
  std::string link;  // the interface, or the bridge that it is a member of
  std::string address;
  std::string subnet;
  std::string range;  // empty without a DHCP server
  std::set<std::string> relays;
};

}  // namespace

// The network behind an interface; nullopt if the interface does not provide one. If the action writes no
// units, only the DHCP server and the relays are known.
static std::optional<Lan> lan_of(const std::string& name, const Facts& facts) {
  const InterfaceFacts own = value_at(facts.interfaces, name);
  if (own.is_tunnel || own.is_bridge || name == kWwanRouteInterface) return std::nullopt;
  const std::string link = own.bridge.empty() ? name : own.bridge;
  const std::string address = value_at(facts.interfaces, link).address;
  const auto subnet = subnet_of_address(address);
  const Lan lan{link, address, subnet ? to_text(*subnet) : "", value_at(facts.servers, link).range,
                value_at(facts.relays, link)};
  const bool is_served = facts.interfaces.empty() && (!lan.range.empty() || !lan.relays.empty());
  return subnet || is_served ? std::optional(lan) : std::nullopt;
}

// Whether the new range contains every address of the old one. Strings that are not ranges are only
// compared for equality.
static bool is_within(const std::string& old_range, const std::string& new_range) {
  const std::vector<std::string> old_ends = split(old_range, '-');
  const std::vector<std::string> new_ends = split(new_range, '-');
  if (old_ends.size() != 2 || new_ends.size() != 2) return old_range == new_range;
  const auto old_begin = parse_ipv4(old_ends[0]);
  const auto old_end = parse_ipv4(old_ends[1]);
  const auto new_begin = parse_ipv4(new_ends[0]);
  const auto new_end = parse_ipv4(new_ends[1]);
  if (!old_begin || !old_end || !new_begin || !new_end) return old_range == new_range;
  return *new_begin <= *old_begin && *old_end <= *new_end;
}

static std::string relays_in_words(const Lan& lan) {
  return enumeration({lan.relays.begin(), lan.relays.end()});
}

// How leases change for hosts whose network stays the same or is unknown; empty if they do not change.
static std::string change_of_leases(const std::string& hosts, const Lan& before, const Lan& after) {
  if (!before.range.empty() && !after.range.empty()) {
    if (is_within(before.range, after.range)) return {};
    return hosts + " with a lease outside " + range_in_words(after.range, after.address) +
           " get another address";
  }
  const bool had_leases = !before.range.empty() || !before.relays.empty();
  if (!had_leases || (before.range == after.range && before.relays == after.relays)) return {};
  if (!after.range.empty())
    return hosts + " get their addresses from the gateway instead of " + relays_in_words(before);
  if (!after.relays.empty()) return hosts + " get their addresses from " + relays_in_words(after);
  return hosts + " lose their addresses when their leases expire";
}

// A sentence about the gateway's new address for hosts whose network stays the same; empty if the address
// does not change.
static std::string change_of_router(const std::string& name, const Lan& before, const Lan& after) {
  if (before.subnet.empty() || before.subnet != after.subnet || before.address == after.address) return {};
  return "hosts behind " + name + " reach the gateway at " + without_prefix(after.address) +
         (after.range.empty() ? "; set this address on each of them" : " once they have renewed their lease");
}

// How the addresses of the hosts behind an interface change; empty if they do not change.
static std::string change_for_hosts(const std::string& name, const Lan& before,
                                    const std::optional<Lan>& after) {
  const std::string hosts = "hosts behind " + name;
  if (!after && before.subnet.empty()) return hosts + " lose their addresses when their leases expire";
  if (!after) return hosts + " lose the network " + before.subnet;
  if (before.subnet == after->subnet || before.subnet.empty() || after->subnet.empty())
    return change_of_leases(hosts, before, *after);
  std::string change = hosts + " get addresses in " + after->subnet;
  if (after->link != name) change += ", the network of " + after->link + ",";
  return change + " instead of " + before.subnet;
}

static std::string change_of_lease(const std::string& mac, const std::string& before,
                                   const std::string& after) {
  if (after.empty()) return mac + " loses its address " + before;
  return mac + " gets " + after + (before.empty() ? "" : " instead of " + before);
}

static void find_devices(const Facts& before, const Facts& after, std::vector<HostMove>& moves) {
  std::vector<HostMove> devices;
  for (const auto& [mac, address] : before.static_leases) {
    const std::string other = value_at(after.static_leases, mac);
    if (other == address) continue;
    devices.push_back({mac, change_of_lease(mac, address, other)});
  }
  for (const auto& [mac, address] : after.static_leases)
    if (before.static_leases.count(mac) == 0) devices.push_back({mac, change_of_lease(mac, "", address)});
  if (devices.size() > kMostDevices) {
    moves.push_back({"", std::to_string(devices.size()) + " devices with static leases get other addresses"});
  } else {
    moves.insert(moves.end(), devices.begin(), devices.end());
  }
}

static std::set<std::string> names_in(const Facts& facts) {
  std::set<std::string> names;
  for (const auto& [name, interface] : facts.interfaces)
    names.insert(name);
  for (const auto& [name, server] : facts.servers)
    names.insert(name);
  for (const auto& [name, servers] : facts.relays)
    names.insert(name);
  return names;
}

std::vector<HostMove> find_host_moves(const Facts& before, const Facts& after) {
  std::vector<HostMove> moves;
  for (const std::string& name : names_in(before)) {
    const std::optional<Lan> lan = lan_of(name, before);
    if (!lan) continue;
    const std::optional<Lan> new_lan = lan_of(name, after);
    const std::string router = new_lan ? change_of_router(name, *lan, *new_lan) : std::string();
    for (const std::string& change : {change_for_hosts(name, *lan, new_lan), router})
      if (!change.empty()) moves.push_back({name, change});
  }
  find_devices(before, after, moves);
  return moves;
}

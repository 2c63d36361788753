#include "cli/status/route_drift.h"

#include <algorithm>
#include <cstdlib>

#include "cli/status/route_queries.h"
#include "cli/status/rule_drift.h"
#include "cli/status/setup_state.h"
#include "networkd/wwan_static_routes.h"

// The number at the beginning of a string; 0 if there is none.
static int number_in(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

// The subnet of an address such as "10.20.0.1/16" as the kernel prints it, "10.20.0.0/16" or "default". Any
// other string is returned unchanged.
static std::string subnet_of(const std::string& text) {
  const std::optional<Subnet> subnet = subnet_of_address(text);
  if (!subnet) return text;
  return subnet->prefix == 0 ? "default" : to_text(*subnet);
}

// Parses a destination that the kernel prints.
static std::optional<Subnet> parsed(const std::string& destination) {
  return destination == "default" ? Subnet{0, 0} : subnet_of_address(destination);
}

static KernelRoute as_in_kernel(const std::string& interface, const RouteFacts& wanted) {
  KernelRoute route;
  route.destination = wanted.destination.empty() ? "default" : subnet_of(wanted.destination);
  route.gateway = wanted.gateway == "_dhcp" ? "" : wanted.gateway;
  route.interface = interface;
  route.metric = number_in(wanted.metric);
  route.table = wanted.table;
  return route;
}

// Whether a route of the kernel is the wanted one. The gateway and metric of a route from a lease are not
// compared, since they come with the lease.
static bool is_route(const KernelRoute& there, const KernelRoute& wanted, bool is_from_lease) {
  if (there.interface != wanted.interface || there.destination != wanted.destination ||
      there.table != wanted.table || !there.type.empty())
    return false;
  return is_from_lease || (there.gateway == wanted.gateway && there.metric == wanted.metric);
}

// "the route to 10.20.0.0/16 via 192.168.2.2, metric 50,"
static std::string name_of(const KernelRoute& route) {
  std::string name =
      route.destination == "default" ? "the default route" : "the route to " + route.destination;
  if (!route.gateway.empty()) name += " via " + route.gateway;
  if (route.metric != 0) name += ", metric " + std::to_string(route.metric) + ",";
  if (!route.table.empty()) name += " in table " + route.table;
  return name;
}

static std::string deletion_of(const KernelRoute& route) {
  std::string command = "ip route del ";
  if (!route.type.empty()) command += quoted_for_shell(route.type) + " ";
  command += quoted_for_shell(route.destination);
  if (!route.gateway.empty()) command += " via " + quoted_for_shell(route.gateway);
  if (!route.interface.empty() && route.type.empty()) command += " dev " + quoted_for_shell(route.interface);
  if (route.metric != 0) command += " metric " + std::to_string(route.metric);
  return command;
}

// The command has "onlink", since the gateway may be outside the subnets of the interface.
static std::string addition_of(const KernelRoute& route) {
  std::string command = "ip route replace " + quoted_for_shell(route.destination);
  if (!route.gateway.empty()) command += " via " + quoted_for_shell(route.gateway);
  command += " dev " + quoted_for_shell(route.interface) + " proto static";
  if (route.metric != 0) command += " metric " + std::to_string(route.metric);
  if (!route.table.empty()) command += " table " + quoted_for_shell(route.table);
  return command + (route.gateway.empty() ? "" : " onlink");
}

namespace {

class RouteComparison {
 public:
  RouteComparison(const Snapshot& snapshot, std::vector<Drift>& drift) : snapshot_(snapshot), drift_(drift) {}

  void compare() {
    for (const auto& [name, wanted] : snapshot_.wanted.interfaces) {
      if (!is_usable(name)) continue;
      for (const RouteFacts& route : wanted.route_sections)
        compare_route(name, wanted, route);
    }
    for (const RouteQuery& query : route_queries(snapshot_.wanted))
      compare_choice(query);
    for (const KernelRoute& route : snapshot_.kernel.routes)
      if (is_foreign(route)) compare_foreign(route);
  }

 private:
  bool is_usable(const std::string& name) const {
    const auto link = snapshot_.kernel.links.find(name);
    return link != snapshot_.kernel.links.end() && link->second.is_up && link->second.has_carrier;
  }

  void say_missing(const KernelRoute& route, const std::string& fix);
  void compare_route(const std::string& name, const InterfaceFacts& wanted, const RouteFacts& route);
  std::string lost_address(const UnitRoute& route) const;
  bool can_be_taken(const UnitRoute& route) const;
  void explain(const RouteQuery& query, const std::optional<RouteChoice>& choice, Drift& drift);
  bool is_in_kernel(const UnitRoute& route) const;
  bool is_explained(const KernelRoute& route) const;
  bool is_foreign(const KernelRoute& route) const;
  void compare_foreign(const KernelRoute& route);
  void compare_choice(const RouteQuery& query);
  const KernelRoute* culprit(const RouteQuery& query, const std::optional<RouteChoice>& choice) const;

  const Snapshot& snapshot_;
  std::vector<Drift>& drift_;
  std::vector<const KernelRoute*> culprits_;  // foreign routes that were reported as a cause
};

}  // namespace

void RouteComparison::say_missing(const KernelRoute& route, const std::string& fix) {
  const bool is_pending = is_pending_at(snapshot_, route.interface);
  drift_.push_back({route.interface, name_of(route) + " is missing", is_pending,
                    "packets take another route or none", is_pending ? "" : fix});
}

void RouteComparison::compare_route(const std::string& name, const InterfaceFacts& wanted,
                                    const RouteFacts& route) {
  // An empty section does not define a route.
  if (route.destination.empty() && route.gateway.empty()) return;
  const bool is_from_lease = route.gateway == "_dhcp";
  // This route comes with the lease, whose absence is reported separately.
  if (is_from_lease && wanted.address == kDynamicAddress) return;
  const KernelRoute own = as_in_kernel(name, route);
  const std::vector<KernelRoute>& routes = snapshot_.kernel.routes;
  const bool is_there = std::any_of(routes.begin(), routes.end(), [&](const KernelRoute& other) {
    return is_route(other, own, is_from_lease);
  });
  if (is_there) return;
  // Only systemd-networkd has the gateway of a lease.
  say_missing(own, is_from_lease ? "networkctl reconfigure " + quoted_for_shell(name) : addition_of(own));
}

bool RouteComparison::is_in_kernel(const UnitRoute& route) const {
  const std::string destination = route.destination.prefix == 0 ? "default" : to_text(route.destination);
  const auto& routes = snapshot_.kernel.routes;
  return std::any_of(routes.begin(), routes.end(), [&](const KernelRoute& other) {
    return other.table.empty() && other.type.empty() && other.interface == route.interface &&
           other.destination == destination &&
           (route.gateway.empty() || route.gateway == "_dhcp" || other.gateway == route.gateway);
  });
}

// Whether the route comes from the units, a script of the last run or a lease.
bool RouteComparison::is_explained(const KernelRoute& route) const {
  const auto found = snapshot_.wanted.interfaces.find(route.interface);
  if (found == snapshot_.wanted.interfaces.end()) return false;
  const InterfaceFacts& wanted = found->second;
  if (wanted.is_default_route && route.destination == "default") return true;
  if (route.interface == kWwanRouteInterface &&
      snapshot_.wanted.cellular_routes.count(route.destination) != 0)
    return true;
  return std::any_of(
      wanted.route_sections.begin(), wanted.route_sections.end(), [&route](const RouteFacts& section) {
        return is_route(route, as_in_kernel(route.interface, section), section.gateway == "_dhcp");
      });
}

// Whether a route of the main table is not configured. Ignores routes of the kernel, of leases and of routing
// programs, which have other protocols.
bool RouteComparison::is_foreign(const KernelRoute& route) const {
  const bool is_by_hand = route.protocol.empty() || route.protocol == "boot" || route.protocol == "static";
  return is_by_hand && route.table.empty() && !is_explained(route);
}

void RouteComparison::compare_foreign(const KernelRoute& route) {
  if (std::find(culprits_.begin(), culprits_.end(), &route) != culprits_.end()) return;
  const auto subnet = parsed(route.destination);
  const auto wanted = subnet ? find_route(routes_of(snapshot_.wanted), subnet->address) : std::nullopt;
  const bool is_pending = is_settling(snapshot_);
  Drift drift{route.interface.empty() ? "routes" : route.interface,
              name_of(route) + " is not configured",
              is_pending,
              "packets may take it",
              deletion_of(route),
              true};
  // The route leads to a part of a configured destination.
  if (wanted && wanted->destination.prefix != 0 && subnet->prefix > wanted->destination.prefix &&
      (wanted->interface != route.interface || wanted->gateway != route.gateway)) {
    drift.why = "packets to " + to_text(wanted->destination) + " belong to " + hop_of(*wanted);
    drift.is_surplus = false;
  }
  drift_.push_back(std::move(drift));
}

// The foreign route of the main table that the kernel has chosen; null if it has chosen a configured one.
const KernelRoute* RouteComparison::culprit(const RouteQuery& query,
                                            const std::optional<RouteChoice>& choice) const {
  const Ipv4 address = *parse_ipv4(query.address);
  const KernelRoute* best = nullptr;
  int longest = -1;
  for (const KernelRoute& route : snapshot_.kernel.routes) {
    const auto subnet = parsed(route.destination);
    const bool is_taken = choice ? route.interface == choice->interface && route.gateway == choice->gateway &&
                                       route.type.empty()
                                 : !route.type.empty();
    if (!subnet || !subnet->contains(address) || !is_taken || !is_foreign(route)) continue;
    if (subnet->prefix <= longest) continue;
    best = &route;
    longest = subnet->prefix;
  }
  return best;
}

static bool is_choice(const UnitRoute& wanted, const RouteChoice& choice, const Facts& facts) {
  if (wanted.interface != choice.interface) return false;
  const auto interface = facts.interfaces.find(choice.interface);
  return wanted.gateway == "_dhcp" || wanted.gateway == choice.gateway || interface->second.is_default_route;
}

// The address of an interface whose subnet has lost the route that the kernel adds along with an address.
// Empty if that route exists or its absence is reported separately, and for a pass-through port, which has no
// such route on purpose.
std::string RouteComparison::lost_address(const UnitRoute& route) const {
  const InterfaceFacts& wanted = snapshot_.wanted.interfaces.at(route.interface);
  if (wanted.is_passed_through || is_in_kernel(route)) return "";
  for (const RouteFacts& section : wanted.route_sections)
    if (subnet_of(section.destination) == to_text(route.destination)) return "";
  for (const KernelAddress& address : snapshot_.kernel.links.at(route.interface).addresses) {
    const auto subnet = subnet_of_address(address.text);
    if (subnet && to_text(*subnet) == to_text(route.destination)) return address.text;
  }
  return "";
}

bool RouteComparison::can_be_taken(const UnitRoute& route) const {
  return is_usable(route.interface) && (is_in_kernel(route) || !lost_address(route).empty());
}

void RouteComparison::explain(const RouteQuery& query, const std::optional<RouteChoice>& choice,
                              Drift& drift) {
  const UnitRoute& wanted = query.wanted.front();
  if (const KernelRule* rule = diverting_rule(snapshot_, choice)) {
    drift.why = "policy rule " + std::to_string(rule->priority) + " is not configured";
    drift.fix = deletion_of(*rule);
  } else if (const KernelRoute* route = culprit(query, choice)) {
    drift.why = name_of(*route) + " is not configured";
    drift.fix = deletion_of(*route);
    culprits_.push_back(route);
  } else if (const std::string address = lost_address(wanted); !address.empty()) {
    drift.why = "the route to " + to_text(wanted.destination) + " is missing";
    drift.fix = "ip route add " + to_text(wanted.destination) + " dev " + quoted_for_shell(wanted.interface) +
                " proto kernel scope link src " + quoted_for_shell(without_prefix(address));
  }
}

void RouteComparison::compare_choice(const RouteQuery& query) {
  const auto found = snapshot_.kernel.choices.find(query.address);
  // If a wanted route cannot be used, that is reported separately.
  if (found == snapshot_.kernel.choices.end() ||
      !std::all_of(query.wanted.begin(), query.wanted.end(),
                   [this](const UnitRoute& route) { return can_be_taken(route); }))
    return;
  const std::optional<RouteChoice>& choice = found->second;
  // The address was added to the gateway itself, which is reported separately.
  if (choice && choice->interface == "lo") return;
  if (choice && std::any_of(query.wanted.begin(), query.wanted.end(), [&](const UnitRoute& route) {
        return is_choice(route, *choice, snapshot_.wanted);
      }))
    return;
  const std::string hop = hop_of(query.wanted.front());
  const std::string way =
      choice ? "through " + hop_of({{0, 0}, choice->interface, choice->gateway, 0}) : "nowhere";
  Drift drift{
      query.subject,
      "packets to " + query.destination + " go " + way + " instead of " + (choice ? "" : "through ") + hop,
      is_pending_at(snapshot_, query.wanted.front().interface),
      "no configured route or policy rule explains it", ""};
  explain(query, choice, drift);
  drift_.push_back(std::move(drift));
}

void find_route_drift(const Snapshot& snapshot, std::vector<Drift>& drift) {
  RouteComparison(snapshot, drift).compare();
  find_rule_drift(snapshot, drift);
}

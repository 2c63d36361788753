#include "cli/status/route_queries.h"

#include <algorithm>
#include <set>

// `ip` answers this many queries in a fraction of a second.
constexpr std::size_t kMostQueries = 256;

// The routes that the kernel may take to an address: those with the longest prefix and the lowest metric.
static std::vector<UnitRoute> best_routes(const std::vector<UnitRoute>& routes, Ipv4 address) {
  std::vector<UnitRoute> best;
  const auto first = find_route(routes, address);
  for (const UnitRoute& route : routes) {
    if (first && route.destination.contains(address) &&
        route.destination.prefix == first->destination.prefix && route.metric == first->metric)
      best.push_back(route);
  }
  return best;
}

static std::vector<Ipv4> own_addresses(const Facts& wanted) {
  std::vector<Ipv4> own;
  for (const auto& [name, interface] : wanted.interfaces)
    for (const std::string* address : {&interface.address, &interface.secondary_address})
      if (const auto number = parse_ipv4(without_prefix(*address))) own.push_back(*number);
  return own;
}

// Addresses to try in a subnet. Those for the default route are public; no packet is sent to them.
static std::vector<Ipv4> candidates(const Subnet& subnet) {
  if (subnet.prefix == 0) return {0x0b000001, 0x15000001, 0x16000001, 0x1a000001};
  if (subnet.prefix >= 31) return {subnet.address};
  std::vector<Ipv4> addresses;
  for (Ipv4 number = 1; number < 8 && subnet.has_host(subnet.address + number); ++number)
    addresses.push_back(subnet.address + number);
  return addresses;
}

namespace {

class RouteQueryList {
 public:
  explicit RouteQueryList(const Facts& wanted)
      : wanted_(wanted), routes_(routes_of(wanted)), own_(own_addresses(wanted)) {
    for (const auto& [name, interface] : wanted.interfaces)
      if (interface.is_default_route) routes_.push_back({{0, 0}, name, "", 0});
  }

  std::vector<RouteQuery> list() {
    for (const UnitRoute& route : routes_)
      add_subnet(route);
    for (const auto& [name, interface] : wanted_.interfaces)
      if (const auto remote = parse_ipv4(interface.remote)) add_remote(name, *remote);
    return std::move(queries_);
  }

 private:
  void add(Ipv4 address, const std::string& destination, const std::string& subject,
           const std::vector<UnitRoute>& best) {
    if (queries_.size() < kMostQueries && asked_.insert(address).second)
      queries_.push_back({to_text(address), destination, subject, best});
  }

  // Adds a query for an address to which no more specific route of the units leads and which is not the
  // gateway's own.
  void add_subnet(const UnitRoute& route) {
    for (const Ipv4 address : candidates(route.destination)) {
      if (std::find(own_.begin(), own_.end(), address) != own_.end()) continue;
      const std::vector<UnitRoute> best = best_routes(routes_, address);
      if (best.front().destination.prefix != route.destination.prefix) continue;
      add(address, route.destination.prefix == 0 ? "other networks" : to_text(route.destination),
          best.front().interface, best);
      return;
    }
  }

  void add_remote(const std::string& tunnel, Ipv4 remote) {
    const std::vector<UnitRoute> best = best_routes(routes_, remote);
    if (!best.empty() && best.front().interface != tunnel)
      add(remote, "the remote endpoint " + to_text(remote), tunnel, best);
  }

  const Facts& wanted_;
  std::vector<UnitRoute> routes_;
  std::vector<Ipv4> own_;
  std::set<Ipv4> asked_;
  std::vector<RouteQuery> queries_;
};

}  // namespace

std::vector<RouteQuery> route_queries(const Facts& wanted) {
  return RouteQueryList(wanted).list();
}

std::vector<std::string> addresses_to_query(const Facts& wanted) {
  std::vector<std::string> addresses;
  for (const RouteQuery& query : route_queries(wanted))
    addresses.push_back(query.address);
  return addresses;
}

#include "cli/graph/facts.h"

#include <algorithm>

#include "config/lookup.h"
#include "dnsmasq/hosts.h"

// The lowest metric; nullopt if several routes have it, or if there are fewer than two routes.
static std::optional<int> lowest_metric(const std::vector<DefaultRoute>& routes) {
  const auto is_lower = [](const DefaultRoute& a, const DefaultRoute& b) { return a.metric < b.metric; };
  const auto lowest = std::min_element(routes.begin(), routes.end(), is_lower);
  const auto has_it = [lowest](const DefaultRoute& route) { return route.metric == lowest->metric; };
  const bool is_alone = std::count_if(routes.begin(), routes.end(), has_it) == 1;
  return routes.size() > 1 && is_alone ? std::optional(lowest->metric) : std::nullopt;
}

DiagramFacts::DiagramFacts(const Site& site_) : site(site_) {
  const std::vector<DefaultRoute> routes = default_routes_of(site);
  preferred_metric_ = lowest_metric(routes);
  for (const DefaultRoute& route : routes)
    default_routes_.emplace(route.settings, route);
  for (const Json::Value& host : array_at(site.root, "hostnames")) {
    const auto [name, ipv4] = read_host_name(host);
    const std::optional<Ipv4> address = parse_ipv4(ipv4.value_or(""));
    if (!name || !address) continue;
    std::string& names = host_names_[*address];
    names += (names.empty() ? "" : ", ") + *name;
  }
}

bool DiagramFacts::is_preferred(const DefaultRoute& route) const {
  return route.metric == preferred_metric_;
}

std::string DiagramFacts::metric_text(const Json::Value& settings, const std::optional<int>& metric) const {
  const auto found = default_routes_.find(&settings);
  if (found == default_routes_.end() || default_routes_.size() == 1)
    return metric ? ", metric " + std::to_string(*metric) : "";
  const DefaultRoute& route = found->second;
  return ", metric " + std::to_string(route.metric) + (is_preferred(route) ? ", preferred" : "");
}

Node::Internet DiagramFacts::internet_by(const Json::Value& settings) const {
  const auto found = default_routes_.find(&settings);
  if (found == default_routes_.end()) return Node::Internet::kNone;
  return is_preferred(found->second) ? Node::Internet::kPreferred : Node::Internet::kReached;
}

std::string DiagramFacts::host_names(const std::string& address) const {
  const std::optional<Ipv4> number = parse_ipv4(address);
  const auto found = number ? host_names_.find(*number) : host_names_.end();
  return found != host_names_.end() ? found->second : "";
}

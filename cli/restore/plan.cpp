#include "cli/restore/plan.h"

#include <algorithm>
#include <iterator>

using Steps = std::vector<Step>;

// Kinds of links that systemd-networkd creates for a configuration. They do not include a modem, which may
// appear during a trial.
constexpr const char* kMadeKinds[] = {"vlan", "bridge", "gre", "gretap", "wireguard"};
constexpr char kSwitches[] = "net/ipv4/conf/all/";
constexpr char kCellular[] = "wwan";

static bool contains(const std::set<std::string>& names, const std::string& name) {
  return names.count(name) > 0;
}

static bool is_made_kind(const std::string& kind) {
  return std::find(std::begin(kMadeKinds), std::end(kMadeKinds), kind) != std::end(kMadeKinds);
}

// Whether the link is a cellular link with a unit: its settings depend on the operator's network, which
// may change at any time.
static bool is_cellular(const Comparison& comparison, const std::string& link) {
  return link.rfind(kCellular, 0) == 0 && contains(comparison.units.links, link);
}

static Words operator+(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

static void compare_links(const Comparison& comparison, Steps& steps) {
  for (const auto& [name, link] : comparison.now.links) {
    const bool is_new = comparison.before.links.count(name) == 0;
    if (is_new && is_made_kind(link.kind) && contains(comparison.links, name) &&
        !contains(comparison.units.made, name))
      steps.push_back({name + " still exists", {"link", "del", "dev", name}});
  }
  for (const auto& [name, link] : comparison.before.links)
    if (contains(comparison.units.made, name) && comparison.now.links.count(name) == 0)
      steps.push_back({name + " is missing", {}});
}

// "eth1 has MTU 1430 instead of 1500"
static std::string changed(const std::string& subject, const std::string& verb, const std::string& now,
                           const std::string& before) {
  return subject + verb + now + " instead of " + before;
}

static void compare_parameters(const std::string& name, const LinkState& before, const LinkState& now,
                               Steps& steps) {
  for (const auto& [word, value] : before.parameters) {
    const auto present = now.parameters.find(word);
    if (present != now.parameters.end() && present->second == value) continue;
    const std::string found = present == now.parameters.end() ? "none" : present->second;
    steps.push_back({changed(name, " has " + word + " ", found, value),
                     {"link", "set", "dev", name, "type", now.kind, word, value}});
  }
}

// A link with a unit is left up and in its bridge, since the old configuration requires both.
static void compare_settings(const std::string& name, const LinkState& before, const LinkState& now,
                             bool has_unit, Steps& steps) {
  const Words set = {"link", "set", "dev", name};
  if (before.master != now.master && !before.master.empty()) {
    steps.push_back({name + " is not a member of " + before.master, set + Words{"master", before.master}});
  } else if (before.master != now.master && !has_unit) {
    steps.push_back({name + " is a member of " + now.master, set + Words{"nomaster"}});
  }
  if (before.mac != now.mac && !before.mac.empty())
    steps.push_back(
        {changed(name, " has MAC address ", now.mac, before.mac), set + Words{"address", before.mac}});
  if (before.is_up && !now.is_up) steps.push_back({name + " is down", set + Words{"up"}});
  if (!before.is_up && now.is_up && !has_unit) steps.push_back({name + " is up", set + Words{"down"}});
}

// Whether the rollback has created the link with other parameters than before: a tunnel takes its address
// and MTU from the cellular link, which may have changed.
static bool is_made_again(const Comparison& comparison, const std::string& name, const LinkState& before,
                          const LinkState& now) {
  return contains(comparison.units.made, name) && before.parameters != now.parameters;
}

// Compares network cards, or all other links if not `is_card`. Cards come first, since a bridge takes its
// MTU and its MAC address from its members.
static void compare_link_settings(const Comparison& comparison, bool is_card, Steps& steps) {
  for (const auto& [name, before] : comparison.before.links) {
    const auto link = comparison.now.links.find(name);
    if (link == comparison.now.links.end() || !contains(comparison.links, name)) continue;
    const LinkState& now = link->second;
    if (is_made_kind(now.kind) == is_card) continue;
    compare_settings(name, before, now, contains(comparison.units.links, name), steps);
    if (is_made_again(comparison, name, before, now) || before.kind != now.kind) continue;
    compare_parameters(name, before, now, steps);
    if (before.mtu != now.mtu && !is_cellular(comparison, name))
      steps.push_back(
          {changed(name, " has MTU ", now.mtu, before.mtu), {"link", "set", "dev", name, "mtu", before.mtu}});
  }
}

// Whether the old configuration explains an item. If systemd-networkd could not be queried, anything on a
// link that has a unit may come from it.
template <typename Item>
static bool is_explained(const Comparison& comparison, const Item& item, const std::string& link) {
  return comparison.networkd.is_known() ? comparison.networkd.has(item)
                                        : contains(comparison.units.links, link);
}

static void compare_old_addresses(const Comparison& comparison, Steps& steps) {
  for (const auto& [key, address] : comparison.now.addresses) {
    if (comparison.before.addresses.count(key) > 0 || !contains(comparison.links, address.link) ||
        is_explained(comparison, address, address.link))
      continue;
    steps.push_back(
        {address.link + " still has the address " + address.text, Words{"address", "del"} + address.words});
  }
}

static void compare_addresses(const Comparison& comparison, Steps& steps) {
  for (const auto& [key, address] : comparison.before.addresses) {
    if (comparison.now.addresses.count(key) > 0 || address.is_dynamic ||
        !contains(comparison.links, address.link) || is_cellular(comparison, address.link) ||
        comparison.now.links.count(address.link) == 0)
      continue;
    steps.push_back(
        {address.link + " lacks the address " + address.text, Words{"address", "add"} + address.words});
  }
}

// "the route to 10.20.0.0/16 via 10.255.2.1 on gre-tun2"
static std::string name_of(const RouteState& route) {
  std::string text = "the route to " + route.destination;
  if (!route.gateway.empty()) text += " via " + route.gateway;
  for (const std::string& link : route.links)
    text += " on " + link;
  return text;
}

template <typename Predicate>
static bool all_links(const RouteState& route, Predicate is_so) {
  return std::all_of(route.links.begin(), route.links.end(), is_so);
}

static bool is_on_named_links(const Comparison& comparison, const RouteState& route) {
  return all_links(route, [&](const std::string& link) { return contains(comparison.links, link); });
}

static void compare_old_routes(const Comparison& comparison, Steps& steps) {
  for (const auto& [key, route] : comparison.now.routes) {
    if (comparison.before.routes.count(key) > 0 || !is_on_named_links(comparison, route) ||
        is_explained(comparison, route, *route.links.begin()))
      continue;
    steps.push_back({name_of(route) + " still exists", Words{"route", "del"} + route.words});
  }
}

// Routes without a gateway come first, since a gateway must be reachable when its route is added.
static void compare_routes(const Comparison& comparison, Steps& steps) {
  for (const bool has_gateway : {false, true}) {
    for (const auto& [key, route] : comparison.before.routes) {
      if (comparison.now.routes.count(key) > 0 || route.is_dynamic || route.gateway.empty() == has_gateway ||
          !is_on_named_links(comparison, route))
        continue;
      const bool can_be_added = all_links(route, [&](const std::string& link) {
        return comparison.now.links.count(link) > 0 && !is_cellular(comparison, link);
      });
      if (can_be_added)
        steps.push_back({name_of(route) + " is missing", Words{"route", "add"} + route.words});
    }
  }
}

// Whether a rule may belong to a daemon: it selects packets by a link that no configuration names, or its
// table has routes on such a link.
static bool is_foreign(const Comparison& comparison, const RuleState& rule) {
  const auto is_unnamed = [&](const std::string& link) { return !contains(comparison.links, link); };
  if (std::any_of(rule.links.begin(), rule.links.end(), is_unnamed)) return true;
  return std::any_of(comparison.now.routes.begin(), comparison.now.routes.end(), [&](const auto& entry) {
    const RouteState& route = entry.second;
    return route.table == rule.table && std::any_of(route.links.begin(), route.links.end(), is_unnamed);
  });
}

static void compare_rules(const Comparison& comparison, Steps& steps) {
  for (const auto& [key, rule] : comparison.now.rules) {
    if (comparison.before.rules.count(key) > 0 || is_foreign(comparison, rule)) continue;
    if (comparison.networkd.is_known() && !comparison.networkd.has(rule))
      steps.push_back({"the rule '" + key + "' still exists", Words{"rule", "del"} + rule.words});
  }
  for (const auto& [key, rule] : comparison.before.rules)
    if (comparison.now.rules.count(key) == 0)
      steps.push_back({"the rule '" + key + "' is missing", Words{"rule", "add"} + rule.words});
}

static void compare_sysctls(const Comparison& comparison, bool is_switch, Steps& steps) {
  for (const auto& [path, value] : comparison.before.sysctls) {
    const auto now = comparison.now.sysctls.find(path);
    if (now == comparison.now.sysctls.end() || now->second == value) continue;
    if ((path.rfind(kSwitches, 0) == 0) == is_switch)
      steps.push_back({changed(path, " is ", now->second, value), {}, path, value});
  }
}

std::vector<Step> steps_of(Stage stage, const Comparison& comparison) {
  Steps steps;
  switch (stage) {
    case Stage::kLinks:
      compare_links(comparison, steps);
      break;
    case Stage::kCards:
      compare_link_settings(comparison, true, steps);
      break;
    case Stage::kMadeLinks:
      compare_link_settings(comparison, false, steps);
      break;
    case Stage::kOldAddresses:
      compare_old_addresses(comparison, steps);
      break;
    case Stage::kAddresses:
      compare_addresses(comparison, steps);
      break;
    case Stage::kOldRoutes:
      compare_old_routes(comparison, steps);
      break;
    case Stage::kRoutes:
      compare_routes(comparison, steps);
      break;
    case Stage::kRules:
      compare_rules(comparison, steps);
      break;
    case Stage::kSwitches:
      compare_sysctls(comparison, true, steps);
      break;
    case Stage::kSysctls:
      compare_sysctls(comparison, false, steps);
      break;
  }
  return steps;
}

#include "cli/compare/gateway_changes.h"

#include <algorithm>

#include "cli/compare/routing.h"
#include "cli/compare/tunnel_changes.h"
#include "networkd/wwan_static_routes.h"

static void compare_values(const std::string& prefix, const std::map<std::string, std::string>& before,
                           const std::map<std::string, std::string>& after, const char* fact,
                           Sentences& sentences) {
  for (const auto& [key, value] : before)
    sentences.compare_values(prefix + key, fact, value, value_at(after, key));
  for (const auto& [key, value] : after)
    if (before.count(key) == 0) sentences.compare_values(prefix + key, fact, "", value);
}

static bool forwards(const Facts& facts) {
  return std::any_of(facts.interfaces.begin(), facts.interfaces.end(),
                     [](const auto& entry) { return entry.second.forwards; });
}

// A single unit that enables forwarding enables it for the whole gateway.
static void describe_forwarding(const Facts& before, const Facts& after, Sentences& sentences) {
  const bool did = forwards(before);
  const bool does = forwards(after);
  if (does && !did) sentences.add("the gateway forwards packets between its networks now");
  if (did && !does) sentences.add("the gateway no longer forwards packets between its networks");
  for (const auto& [name, interface] : after.interfaces) {
    const auto former = before.interfaces.find(name);
    if (former == before.interfaces.end() || former->second.forwards == interface.forwards) continue;
    std::string sentence;
    if (did && does && !sentences.explains({name, what::kKind}))
      sentence = name + (interface.forwards ? " switches forwarding on, as other interfaces do"
                                            : " no longer switches forwarding on; other interfaces still do");
    sentences.say(name, what::kForwarding, sentence);
  }
}

// If a run has no telnet command, the service keeps its state.
static void describe_telnet(const Facts& before, const Facts& after, Sentences& sentences) {
  const std::string& did = before.commands.telnet;
  const std::string& does = after.commands.telnet;
  if (did == does) return;
  std::string sentence = std::string("the telnet service is no longer ") +
                         (did == "start" ? "started" : "stopped") + "; its state does not change";
  if (does == "start") sentence = "the telnet service is started";
  if (does == "stop") sentence = "the telnet service is stopped";
  sentences.say(subject::kGateway, what::kTelnet, sentence);
}

// Why a configured route is not in any unit; empty if it is in one.
static std::string obstacle_of_route(const Facts& facts, const std::string& name,
                                     const std::string& destination) {
  const auto found = facts.interfaces.find(name);
  if (found == facts.interfaces.end()) return name + " is not set up";
  const InterfaceFacts& interface = found->second;
  const bool is_written =
      std::any_of(interface.route_sections.begin(), interface.route_sections.end(),
                  [&](const RouteFacts& route) { return route.destination == destination; });
  if (is_written) return {};
  if (!interface.bridge.empty()) return name + " is a member of " + interface.bridge;
  return name + (interface.is_passed_through ? " is in pass-through" : " takes no static routes");
}

static void say_without_effect(const std::string& name, const std::string& fact, const char* change,
                               const std::string& obstacle, Sentences& sentences) {
  if (!obstacle.empty()) sentences.say(name, fact, "the " + fact + " on " + name + change + obstacle);
}

static void describe_routes_without_effect(const Facts& before, const Facts& after, Sentences& sentences) {
  const auto describe = [&](const Facts& facts, const Facts& other, const char* change) {
    for (const auto& [name, destination] : facts.configured_routes) {
      const std::string fact = what::kRoute + destination;
      const bool is_described =
          sentences.explains({name, fact}) || sentences.explains({name, what::kPresence});
      if (is_described || other.configured_routes.count({name, destination}) != 0) continue;
      say_without_effect(name, fact, change, obstacle_of_route(facts, name, destination), sentences);
    }
  };
  describe(before, after, " is removed; it had no effect: ");
  describe(after, before, " has no effect: ");
}

static void describe_cellular_routes(const Facts& before, const Facts& after, Sentences& sentences) {
  const std::string name = kWwanRouteInterface;
  const auto describe = [&](const Facts& facts, const Facts& other, const std::string& change) {
    for (const std::string& destination : facts.cellular_routes) {
      const Topic topic = {name, what::kRoute + destination};
      if (other.cellular_routes.count(destination) != 0 || sentences.explains(topic)) continue;
      sentences.say(name, topic.second, name + change + topic.second + " when the cellular link comes up");
    }
  };
  describe(before, after, " no longer gets the ");
  describe(after, before, " gets the ");
}

// Each tunnel adds a command that deletes gre0, the kernel's fallback device for tunnels, so a change in
// the number of tunnels explains those lines.
static void explain_tunnels(const Facts& before, const Facts& after, Sentences& sentences) {
  const auto count = [](const Facts& facts) {
    return std::count_if(facts.interfaces.begin(), facts.interfaces.end(),
                         [](const auto& entry) { return entry.second.is_tunnel; });
  };
  if (count(before) != count(after)) sentences.say(subject::kGateway, what::kTunnels, "");
}

void describe_gateway(const Facts& before, const Facts& after, Sentences& sentences) {
  describe_forwarding(before, after, sentences);
  describe_cellular_routes(before, after, sentences);
  describe_routes_without_effect(before, after, sentences);
  explain_tunnels(before, after, sentences);
  describe_telnet(before, after, sentences);
  compare_values(subject::kDevice, before.static_leases, after.static_leases, what::kStaticLease, sentences);
  compare_values(subject::kName, before.names, after.names, what::kAddress, sentences);
  sentences.compare_values(subject::kGateway, what::kNameServers, before.name_servers, after.name_servers);
}

static void describe_default_route(const std::vector<UnitRoute>& before, const std::vector<UnitRoute>& after,
                                   Sentences& sentences) {
  const auto old_route = find_default_route(before);
  const auto new_route = find_default_route(after);
  if (old_route && !new_route) {
    sentences.add("the gateway loses its default route through " + hop_of(*old_route) +
                  ": only its own networks and those of static routes remain reachable");
  } else if (!old_route && new_route) {
    sentences.add("the gateway gets a default route through " + hop_of(*new_route));
  } else if (old_route && old_route->interface != new_route->interface) {
    sentences.add("the default route moves from " + hop_of(*old_route) + " to " + hop_of(*new_route));
  }
}

static bool has_dynamic_address(const Facts& facts) {
  return std::any_of(facts.interfaces.begin(), facts.interfaces.end(),
                     [](const auto& entry) { return entry.second.address == kDynamicAddress; });
}

// Why a tunnel cannot carry traffic; empty if no reason was found.
static std::string obstacle_of_tunnel(const std::string& name, const Facts& facts,
                                      const std::vector<UnitRoute>& routes) {
  const InterfaceFacts& tunnel = facts.interfaces.at(name);
  if (tunnel.address.empty()) return "it has no address";
  const bool is_foreign = !tunnel.local.empty() && interface_with_address(facts, tunnel.local).empty();
  if (is_foreign && !has_dynamic_address(facts)) return "no interface has its local address " + tunnel.local;
  const std::optional<Ipv4> remote = parse_ipv4(tunnel.remote);
  if (!remote) return {};
  const std::optional<UnitRoute> route = find_route(routes, *remote);
  const std::string endpoint = "its remote endpoint " + tunnel.remote;
  if (!route) return "no route leads to " + endpoint;
  if (route->interface == name) return "the route to " + endpoint + " leads into the tunnel itself";
  return {};
}

static void describe_tunnel(const std::string& name, const std::string& before, const std::string& after,
                            Sentences& sentences) {
  if (before.empty() && !after.empty()) sentences.add(name + " carries no traffic: " + after);
  if (!before.empty() && after.empty()) sentences.add(name + " can carry traffic now; before, " + before);
}

void describe_consequences(const Facts& before, const Facts& after, Sentences& sentences) {
  const std::vector<UnitRoute> old_routes = routes_of(before);
  const std::vector<UnitRoute> new_routes = routes_of(after);
  describe_default_route(old_routes, new_routes, sentences);
  const auto former_names = match_tunnels(before, after);
  for (const auto& [name, interface] : after.interfaces) {
    if (!interface.is_tunnel) continue;
    const std::string former = value_at(former_names, name);
    describe_tunnel(name, former.empty() ? "" : obstacle_of_tunnel(former, before, old_routes),
                    obstacle_of_tunnel(name, after, new_routes), sentences);
  }
}

#include "cli/compare/change_summary.h"

#include <algorithm>

namespace {

using Commands = std::vector<std::vector<std::string>>;

class Words {
 public:
  Words(const Facts& before, const Facts& after, const Commands& commands)
      : before_(before), after_(after), commands_(commands) {}

  std::vector<std::string> find() {
    find_renumbered_tunnels();
    std::set<std::string> names;
    for (const Facts* facts : {&before_, &after_}) {
      for (const auto& [name, interface] : facts->interfaces)
        names.insert(name);
      for (const auto& [name, server] : facts->servers)
        names.insert(name);
      for (const auto& [name, servers] : facts->relays)
        names.insert(name);
    }
    for (const std::string& name : names)
      compare_interface(name);
    compare("the device ", before_.fixed_leases, after_.fixed_leases, "fixed lease");
    compare("the name ", before_.names, after_.names, "address");
    say("the gateway", "DNS servers", before_.name_servers, after_.name_servers);
    return lines_;
  }

 private:
  template <typename Map>
  static typename Map::mapped_type at(const Map& map, const std::string& key) {
    const auto found = map.find(key);
    return found != map.end() ? found->second : typename Map::mapped_type();
  }

  // One thing that a subject has, had, or has another of.
  void say(const std::string& subject, const std::string& what, const std::string& before,
           const std::string& after) {
    if (before == after) return;
    if (before.empty()) {
      lines_.push_back(subject + " gets the " + what + " " + after);
    } else if (after.empty()) {
      lines_.push_back(subject + " loses the " + what + " " + before);
    } else {
      lines_.push_back(subject + " changes its " + what + " from " + before + " to " + after);
    }
  }

  void compare(const std::string& prefix, const std::map<std::string, std::string>& before,
               const std::map<std::string, std::string>& after, const char* what) {
    for (const auto& [key, value] : before)
      say(prefix + key, what, value, at(after, key));
    for (const auto& [key, value] : after)
      if (before.count(key) == 0) say(prefix + key, what, "", value);
  }

  // A tunnel's number is its place in the list, so the ones behind a removed one get others.
  void find_renumbered_tunnels() {
    const std::map<std::string, std::string> before = tunnels_of(before_);
    const std::map<std::string, std::string> after = tunnels_of(after_);
    for (const auto& [title, name] : after) {
      const std::string former = at(before, title);
      if (former.empty() || former == name) continue;
      lines_.push_back("the tunnel " + title + " becomes " + name + ", it was " + former);
      renumbered_.insert(name);
    }
    for (const auto& [title, name] : before)
      if (after.count(title) == 0 && renumbered_.count(name) != 0)
        lines_.push_back("the tunnel " + title + " is removed, it was " + name);
  }

  // The interfaces of the tunnels, by what stays the same when their numbers change.
  static std::map<std::string, std::string> tunnels_of(const Facts& facts) {
    std::map<std::string, std::string> tunnels;
    for (const auto& [name, interface] : facts.interfaces) {
      const std::string title = interface.description.empty() ? "" : "\"" + interface.description + "\" ";
      if (!interface.remote.empty()) tunnels[title + "to " + interface.remote] = name;
    }
    return tunnels;
  }

  void compare_interface(const std::string& name) {
    const auto before = before_.interfaces.find(name);
    const auto after = after_.interfaces.find(name);
    const bool was_there = before != before_.interfaces.end();
    const bool is_there = after != after_.interfaces.end();
    if (was_there && !is_there) {
      say_gone(name, before->second);
      return;
    }
    if (is_there && !was_there) lines_.push_back(name + " is new");
    if (is_there && was_there && renumbered_.count(name) == 0) {
      compare_units(name, before->second, after->second);
    }
    compare_server(name);
    compare_relays(name);
  }

  void say_gone(const std::string& name, const InterfaceFacts& before) {
    if (!before.is_made) {
      lines_.push_back(name + " is no longer set up");
    } else if (!before.remote.empty() && !is_deleted(name)) {
      lines_.push_back(name + " stays in the kernel: disable it before it is removed");
    } else {
      lines_.push_back(name + " is gone");
    }
  }

  // Whether the run deletes the tunnel. The links of other kinds are deleted by what their own run has left.
  bool is_deleted(const std::string& tunnel) const {
    return std::any_of(
        commands_.begin(), commands_.end(), [&tunnel](const std::vector<std::string>& command) {
          return command.size() == 4 && command[1] == "tunnel" && command[2] == "del" && command[3] == tunnel;
        });
  }

  void compare_units(const std::string& name, const InterfaceFacts& before, const InterfaceFacts& after) {
    if (after.is_passed_through && !before.is_passed_through)
      lines_.push_back(name + " is in pass-through now");
    if (before.is_passed_through && !after.is_passed_through)
      lines_.push_back(name + " is no longer in pass-through");
    if (!before.bridge.empty() && before.bridge != after.bridge)
      lines_.push_back(name + " leaves " + before.bridge);
    if (!after.bridge.empty() && before.bridge != after.bridge)
      lines_.push_back(name + " joins " + after.bridge);
    say(name, "address", before.address, after.address);
    say(name, "secondary address", before.secondary_address, after.secondary_address);
    say(name, "remote address", before.remote, after.remote);
    say(name, "local address", before.local, after.local);
    say(name, "gateway", before.gateway, after.gateway);
    say(name, "metric", before.metric, after.metric);
    say(name, "MTU", before.mtu, after.mtu);
    for (const std::string& route : before.routes)
      if (after.routes.count(route) == 0) lines_.push_back(name + " loses the route to " + route);
    for (const std::string& route : after.routes)
      if (before.routes.count(route) == 0) lines_.push_back(name + " gets the route to " + route);
  }

  void compare_server(const std::string& name) {
    const bool did = before_.servers.count(name) != 0;
    const bool does = after_.servers.count(name) != 0;
    if (does && !did) lines_.push_back(name + " serves DHCP now");
    if (did && !does) lines_.push_back(name + " no longer serves DHCP");
    if (!did || !does) return;
    const DhcpFacts before = at(before_.servers, name);
    const DhcpFacts after = at(after_.servers, name);
    say(name, "DHCP range", before.range, after.range);
    say(name, "lease time", before.lease_time, after.lease_time);
  }

  void compare_relays(const std::string& name) {
    const std::set<std::string> before = at(before_.relays, name);
    const std::set<std::string> after = at(after_.relays, name);
    for (const std::string& server : before)
      if (after.count(server) == 0) lines_.push_back(name + " no longer relays DHCP to " + server);
    for (const std::string& server : after)
      if (before.count(server) == 0) lines_.push_back(name + " relays DHCP to " + server + " now");
  }

  const Facts& before_;
  const Facts& after_;
  const Commands& commands_;
  std::set<std::string> renumbered_;
  std::vector<std::string> lines_;
};

}  // namespace

std::vector<std::string> words_for(const Facts& before, const Facts& after, const Commands& commands) {
  return Words(before, after, commands).find();
}

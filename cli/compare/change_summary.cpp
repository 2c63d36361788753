#include "cli/compare/change_summary.h"

#include <algorithm>

namespace {

// Every sentence goes with its topics, and a line counts as explained by these alone.
class ChangeSummary {
 public:
  ChangeSummary(const Facts& before, const Facts& after) : before_(before), after_(after) {}

  std::vector<std::string> write(const std::vector<ChangedFile>& files) {
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
    compare(subject::kDevice, before_.static_leases, after_.static_leases, what::kStaticLease);
    compare(subject::kName, before_.names, after_.names, what::kAddress);
    compare_values(subject::kGateway, what::kNameServers, before_.name_servers, after_.name_servers);
    count_other_lines(files);
    return std::move(sentences_);
  }

 private:
  template <typename Map>
  static typename Map::mapped_type at(const Map& map, const std::string& key) {
    const auto found = map.find(key);
    return found != map.end() ? found->second : typename Map::mapped_type();
  }

  // An empty sentence goes without saying.
  void say(const std::string& subject, const std::string& fact, const std::string& sentence) {
    explained_.insert({subject, fact});
    if (!sentence.empty()) sentences_.push_back(sentence);
  }

  // One thing that a subject has, had, or has another of.
  void compare_values(const std::string& subject, const std::string& fact, const std::string& before,
                      const std::string& after) {
    if (before == after) return;
    if (before.empty()) {
      say(subject, fact, subject + " gets the " + fact + " " + after);
    } else if (after.empty()) {
      say(subject, fact, subject + " loses the " + fact + " " + before);
    } else {
      say(subject, fact, subject + " changes its " + fact + " from " + before + " to " + after);
    }
  }

  void compare(const std::string& prefix, const std::map<std::string, std::string>& before,
               const std::map<std::string, std::string>& after, const char* fact) {
    for (const auto& [key, value] : before)
      compare_values(prefix + key, fact, value, at(after, key));
    for (const auto& [key, value] : after)
      if (before.count(key) == 0) compare_values(prefix + key, fact, "", value);
  }

  // A tunnel's number is its place in the list, so the ones behind a removed one get others.
  void find_renumbered_tunnels() {
    const std::map<std::string, std::string> before = tunnels_of(before_);
    const std::map<std::string, std::string> after = tunnels_of(after_);
    for (const auto& [title, name] : after) {
      const std::string former = at(before, title);
      if (former.empty() || former == name) continue;
      say(name, what::kNumber, about_tunnel(title, " becomes " + name, former));
      former_names_[name] = former;
    }
    for (const auto& [title, name] : before)
      if (after.count(title) == 0 && former_names_.count(name) != 0)
        say(name, what::kNumber, about_tunnel(title, " is removed", name));
  }

  static std::string about_tunnel(const std::string& title, const std::string& change,
                                  const std::string& former) {
    return "the tunnel " + title + change + ", it was " + former;
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
    if (was_there && !is_there) say_gone(name, before->second);
    if (is_there && !was_there) say(name, what::kPresence, name + " is new");
    const std::string former = at(former_names_, name);
    if (!former.empty()) {
      compare_units(name, before_.interfaces.at(former), after->second);
    } else if (is_there && was_there) {
      compare_units(name, before->second, after->second);
    }
    compare_server(name, was_there && !is_there);
    compare_relays(name, was_there && !is_there);
  }

  // A tunnel is deleted by a command of the run, links of other kinds by what their own run has left.
  void say_gone(const std::string& name, const InterfaceFacts& before) {
    if (!before.is_made) {
      say(name, what::kPresence, name + " is no longer set up");
    } else if (!before.remote.empty() && after_.deleted_tunnels.count(name) == 0) {
      say(name, what::kPresence, name + " stays in the kernel: disable it before it is removed");
    } else {
      say(name, what::kPresence, name + " is gone");
    }
  }

  void compare_units(const std::string& name, const InterfaceFacts& before, const InterfaceFacts& after) {
    if (after.is_passed_through && !before.is_passed_through)
      say(name, what::kKind, name + " is in pass-through now");
    if (before.is_passed_through && !after.is_passed_through)
      say(name, what::kKind, name + " is no longer in pass-through");
    if (!before.bridge.empty() && before.bridge != after.bridge)
      say(name, what::kKind, name + " leaves " + before.bridge);
    if (!after.bridge.empty() && before.bridge != after.bridge)
      say(name, what::kKind, name + " joins " + after.bridge);
    compare_values(name, what::kAddress, before.address, after.address);
    compare_values(name, what::kSecondaryAddress, before.secondary_address, after.secondary_address);
    compare_values(name, what::kRemote, before.remote, after.remote);
    compare_values(name, what::kLocal, before.local, after.local);
    compare_values(name, what::kGateway, before.gateway, after.gateway);
    compare_values(name, what::kMetric, before.metric, after.metric);
    compare_values(name, what::kMtu, before.mtu, after.mtu);
    for (const std::string& route : before.routes)
      if (after.routes.count(route) == 0) say_route(name, "loses", route);
    for (const std::string& route : after.routes)
      if (before.routes.count(route) == 0) say_route(name, "gets", route);
  }

  void say_route(const std::string& name, const std::string& verb, const std::string& route) {
    say(name, what::kRoute + route, name + " " + verb + " the " + what::kRoute + route);
    // Commands name the destination only.
    say(name, what::kRoute + route.substr(0, route.find_first_of(" ,")), "");
  }

  // An interface that is gone serves and relays nothing.
  void compare_server(const std::string& name, bool is_gone) {
    const bool did = before_.servers.count(name) != 0;
    const bool does = after_.servers.count(name) != 0;
    if (does && !did) say(name, what::kServer, name + " serves DHCP now");
    if (did && !does) say(name, what::kServer, is_gone ? "" : name + " no longer serves DHCP");
    if (!did || !does) return;
    const DhcpFacts before = at(before_.servers, name);
    const DhcpFacts after = at(after_.servers, name);
    compare_values(name, what::kRange, before.range, after.range);
    compare_values(name, what::kLeaseTime, before.lease_time, after.lease_time);
  }

  void compare_relays(const std::string& name, bool is_gone) {
    const std::set<std::string> before = at(before_.relays, name);
    const std::set<std::string> after = at(after_.relays, name);
    for (const std::string& server : before)
      if (after.count(server) == 0)
        say_relay(name, is_gone ? "" : name + " no longer relays DHCP to ", server, "");
    for (const std::string& server : after)
      if (before.count(server) == 0) say_relay(name, name + " relays DHCP to ", server, " now");
  }

  void say_relay(const std::string& name, const std::string& begin, const std::string& server,
                 const std::string& end) {
    say(name, what::kRelay + server, begin.empty() ? "" : begin + server + end);
  }

  void count_other_lines(const std::vector<ChangedFile>& files) {
    std::size_t count = 0;
    for (const ChangedFile& file : files)
      count += other_lines_of(file);
    if (count == 0) return;
    const std::string begin = sentences_.empty() ? "" : "and ";
    const std::string end = sentences_.empty() ? (count == 1 ? " line differs" : " lines differ")
                                               : (count == 1 ? " more line" : " more lines");
    sentences_.push_back(begin + std::to_string(count) + end);
  }

  std::size_t other_lines_of(const ChangedFile& file) {
    std::vector<const std::set<Topic>*> lines;
    for (const std::size_t number : file.removed)
      lines.push_back(&before_.topics.at(file.path).at(number));
    for (const std::size_t number : file.added)
      lines.push_back(&after_.topics.at(file.path).at(number));
    const auto is_other = [this](const std::set<Topic>* topics) {
      return std::none_of(topics->begin(), topics->end(),
                          [this](const Topic& topic) { return explained_.count(topic) != 0; });
    };
    if (!std::all_of(lines.begin(), lines.end(), is_other)) say(file.path, what::kLayout, "");
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), is_other));
  }

  const Facts& before_;
  const Facts& after_;
  std::map<std::string, std::string> former_names_;  // of the tunnels with another number
  std::set<Topic> explained_;
  std::vector<std::string> sentences_;
};

}  // namespace

std::vector<std::string> change_summary(const Facts& before, const Facts& after,
                                        const std::vector<ChangedFile>& files) {
  return ChangeSummary(before, after).write(files);
}

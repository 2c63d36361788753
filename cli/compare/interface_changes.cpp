#include "cli/compare/interface_changes.h"

#include <algorithm>

#include "cli/compare/details.h"
#include "cli/compare/fields.h"
#include "cli/compare/tunnel_changes.h"

static const InterfaceFacts* find_interface(const Facts& facts, const std::string& name) {
  const auto found = facts.interfaces.find(name);
  return found != facts.interfaces.end() ? &found->second : nullptr;
}

namespace {

class InterfaceChanges {
 public:
  InterfaceChanges(const Facts& before, const Facts& after, Sentences& sentences)
      : before_(before), after_(after), former_names_(match_tunnels(before, after)), sentences_(sentences) {}

  void describe() {
    describe_moved_tunnels(before_, after_, former_names_, sentences_);
    for (const std::string& name : all_names())
      compare_interface(name);
    describe_unlinked_vlans();
  }

 private:
  std::set<std::string> all_names() const {
    std::set<std::string> names;
    for (const Facts* facts : {&before_, &after_}) {
      for (const auto& [name, interface] : facts->interfaces)
        names.insert(name);
      for (const auto& [name, server] : facts->servers)
        names.insert(name);
      for (const auto& [name, servers] : facts->relays)
        names.insert(name);
      names.insert(facts->commands.switched_off.begin(), facts->commands.switched_off.end());
    }
    // From units and sections without the name of an interface.
    names.erase("");
    return names;
  }

  // Compares a tunnel with itself, even if it had another name before.
  void compare_interface(const std::string& name) {
    const InterfaceFacts* before = find_interface(before_, name);
    const InterfaceFacts* after = find_interface(after_, name);
    if (after != nullptr && after->is_tunnel) {
      const std::string former = value_at(former_names_, name);
      before = former.empty() ? nullptr : find_interface(before_, former);
      if (before != nullptr) compare_replies(name, former);
    }
    if (before == nullptr && after == nullptr) {
      compare_switch(name);
    } else if (before == nullptr) {
      say_new(name);
    } else if (after == nullptr) {
      say_gone(name, *before);
      return;
    } else if (before->bridge != after->bridge) {
      say_moved(name, *before, *after);
      return;
    } else {
      compare_units(name, *before, *after);
    }
    if (before != nullptr || after == nullptr) compare_dhcp(name);
  }

  // For a port without a unit on either side.
  void compare_switch(const std::string& name) {
    const bool was_off = before_.commands.switched_off.count(name) != 0;
    const bool is_off = after_.commands.switched_off.count(name) != 0;
    if (is_off && !was_off) sentences_.say(name, what::kPresence, name + " is switched off");
    if (was_off && !is_off) sentences_.say(name, what::kPresence, name + " is no longer switched off");
  }

  void say_new(const std::string& name) {
    std::string details;
    for (const std::string& detail : details_of(name, after_))
      details = join(details, detail, ", ");
    const std::string bridge = value_at(after_.interfaces, name).bridge;
    if (!bridge.empty()) details = join("a member of " + bridge, details, details.empty() ? "" : ", ");
    sentences_.say(name, what::kPresence, name + " is new" + (details.empty() ? "" : ": " + details));
    explain_dhcp(name);
  }

  // Tunnels are deleted by a command of this run, other links by a script of the run that created them.
  void say_gone(const std::string& name, const InterfaceFacts& interface) {
    const bool is_off = after_.commands.switched_off.count(name) != 0;
    const std::string end = is_off ? " is switched off" : " is no longer set up";
    std::string sentence =
        name + (interface.bridge.empty() ? "" : " leaves " + interface.bridge + " and") + end;
    if (interface.is_made) sentence = name + " is gone";
    const std::vector<std::string> details = details_of(name, before_);
    if (!details.empty() && !has_moved(name)) sentence += ", with " + enumeration(details);
    const bool is_left = interface.is_tunnel && after_.commands.deleted_tunnels.count(name) == 0;
    if (is_left)
      sentence = name + " is left behind in the kernel" + blocked_by(interface) +
                 "; disable the tunnel and apply before removing it";
    sentences_.say(name, what::kPresence, sentence);
    explain_dhcp(name);
  }

  // The kernel refuses a second tunnel with the same endpoints.
  std::string blocked_by(const InterfaceFacts& left) const {
    for (const auto& [name, tunnel] : after_.interfaces)
      if (tunnel.is_tunnel && tunnel.remote == left.remote && tunnel.local == left.local)
        return " and keeps " + name + ", which has the same endpoints, from being set up";
    return {};
  }

  // Whether the tunnel that had this name now has another one.
  bool has_moved(const std::string& name) const {
    return std::any_of(former_names_.begin(), former_names_.end(),
                       [&name](const auto& entry) { return entry.second == name; });
  }

  // A member of a bridge has no settings of its own.
  void say_moved(const std::string& name, const InterfaceFacts& before, const InterfaceFacts& after) {
    if (!before.bridge.empty()) {
      const std::vector<std::string> own = details_of(name, after_);
      sentences_.say(
          name, what::kKind,
          name + " leaves " + before.bridge + (own.empty() ? "" : " and gets " + enumeration(own)));
    } else {
      const std::vector<std::string> own = details_of(name, before_);
      sentences_.say(
          name, what::kKind,
          name + " joins " + after.bridge + (own.empty() ? "" : " and gives up its own " + enumeration(own)));
      say_network_of_bridge(name, before.address, after.bridge);
    }
    sentences_.say(name, what::kPresence, "");
    explain_dhcp(name);
  }

  void say_network_of_bridge(const std::string& name, const std::string& own, const std::string& bridge) {
    const std::string address = value_at(after_.interfaces, bridge).address;
    if (address.empty() || address == own) return;
    sentences_.add("hosts behind " + name + " are in the network of " + bridge + " now" +
                   (address == kDynamicAddress ? "" : ", where the gateway is " + address));
  }

  void compare_units(const std::string& name, const InterfaceFacts& before, const InterfaceFacts& after) {
    if (after.is_passed_through && !before.is_passed_through)
      sentences_.say(name, what::kKind, name + " is in pass-through now");
    if (before.is_passed_through && !after.is_passed_through)
      sentences_.say(name, what::kKind, name + " is no longer in pass-through");
    sentences_.compare_values(name, what::kDescription, before.description, after.description);
    sentences_.compare_values(name, what::kAddress, before.address, after.address);
    sentences_.compare_values(name, what::kSecondaryAddress, before.secondary_address,
                              after.secondary_address);
    sentences_.compare_values(name, what::kRemote, before.remote, after.remote);
    sentences_.compare_values(name, what::kLocal, before.local, after.local);
    sentences_.compare_values(name, what::kGateway, before.gateway, after.gateway);
    sentences_.compare_values(name, what::kMetric, before.metric, after.metric);
    sentences_.compare_values(name, what::kMtu, before.mtu, after.mtu);
    sentences_.compare_values(name, what::kNameServers, before.name_servers, after.name_servers);
    if (before.copies_dscp != after.copies_dscp)
      sentences_.say(
          name, what::kDscp,
          name + (after.copies_dscp ? " copies the DSCP class of packets to their outer header now"
                                    : " no longer copies the DSCP class of packets to their outer header"));
    compare_routes(name, before, after);
  }

  void compare_routes(const std::string& name, const InterfaceFacts& before, const InterfaceFacts& after) {
    for (const std::string& route : before.routes)
      if (after.routes.count(route) == 0) say_route(name, "loses", route);
    for (const std::string& route : after.routes)
      if (before.routes.count(route) == 0) say_route(name, "gets", route);
  }

  void say_route(const std::string& name, const std::string& verb, const std::string& route) {
    sentences_.say(name, what::kRoute + route, name + " " + verb + " the " + what::kRoute + route);
    // The topics of commands contain only the destination.
    sentences_.say(name, what::kRoute + route.substr(0, route.find_first_of(" ,")), "");
  }

  // Replies to packets that arrive through a tunnel have their own routing table.
  void compare_replies(const std::string& name, const std::string& former) {
    const std::string before = value_at(before_.reply_gateways, former);
    const std::string after = value_at(after_.reply_gateways, name);
    if (before == after) return;
    const std::string what = "replies to packets from " + name;
    sentences_.say(name, what::kReplies,
                   after.empty()
                       ? what + " no longer go via " + before
                       : what + " now go via " + after + (before.empty() ? "" : " instead of " + before));
  }

  void compare_dhcp(const std::string& name) {
    const bool did = before_.servers.count(name) != 0;
    const bool does = after_.servers.count(name) != 0;
    const DhcpFacts before = value_at(before_.servers, name);
    const DhcpFacts after = value_at(after_.servers, name);
    const auto range = [&name](const Facts& facts, const DhcpFacts& server) {
      return range_in_words(server.range, value_at(facts.interfaces, name).address);
    };
    if (does && !did) sentences_.say(name, what::kServer, name + " serves DHCP now: " + range(after_, after));
    if (did && !does)
      sentences_.say(name, what::kServer, name + " no longer serves DHCP: " + range(before_, before));
    if (did && does) {
      sentences_.compare_values(name, what::kRange, before.range, after.range);
      sentences_.compare_values(name, what::kLeaseTime, before.lease_time, after.lease_time);
    }
    compare_relays(name);
  }

  void compare_relays(const std::string& name) {
    const std::set<std::string> before = value_at(before_.relays, name);
    const std::set<std::string> after = value_at(after_.relays, name);
    for (const std::string& server : before)
      if (after.count(server) == 0) say_relay(name, " no longer relays DHCP to ", server, "");
    for (const std::string& server : after)
      if (before.count(server) == 0) say_relay(name, " relays DHCP to ", server, " now");
  }

  void say_relay(const std::string& name, const char* verb, const std::string& server, const char* end) {
    sentences_.say(name, what::kRelay + server, name + verb + server + end);
  }

  // Marks the DHCP settings that are among an interface's details as explained.
  void explain_dhcp(const std::string& name) {
    sentences_.say(name, what::kServer, "");
    for (const Facts* facts : {&before_, &after_})
      for (const std::string& server : value_at(facts->relays, name))
        sentences_.say(name, what::kRelay + server, "");
  }

  // A VLAN is only created if the unit of its port or of the bridge names it.
  void describe_unlinked_vlans() {
    const auto links_of = [](const Facts& facts) {
      std::set<std::string> links;
      for (const auto& [name, interface] : facts.interfaces)
        links.insert(interface.vlans.begin(), interface.vlans.end());
      return links;
    };
    const std::set<std::string> before = links_of(before_);
    const std::set<std::string> after = links_of(after_);
    for (const auto& [name, interface] : after_.interfaces) {
      if (before.count(name) != 0 && after.count(name) == 0)
        sentences_.say(name, what::kLink, name + " is no longer linked to a port and does not come up");
      if (before_.interfaces.count(name) != 0 && before.count(name) == 0 && after.count(name) != 0)
        sentences_.say(name, what::kLink, name + " is linked to a port now");
    }
  }

  const Facts& before_;
  const Facts& after_;
  const std::map<std::string, std::string> former_names_;
  Sentences& sentences_;
};

}  // namespace

void describe_interfaces(const Facts& before, const Facts& after, Sentences& sentences) {
  InterfaceChanges(before, after, sentences).describe();
}

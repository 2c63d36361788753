#include "cli/compare/interrupts.h"

#include <algorithm>

#include "cli/compare/fields.h"
#include "cli/compare/host_moves.h"
#include "cli/compare/routing.h"
#include "cli/compare/sentences.h"
#include "cli/compare/ssh_path.h"

namespace {

class InterruptFinder {
 public:
  InterruptFinder(const Facts& before, const Facts& after, const Circumstances& circumstances)
      : before_(before), after_(after), circumstances_(circumstances) {}

  std::vector<Interrupt> find() {
    add_services();
    add_links();
    add_lost_addresses();
    for (const HostMove& move : find_host_moves(before_, after_))
      add("host", move.subject.empty() ? std::vector<std::string>() : std::vector<std::string>{move.subject},
          move.sentence);
    const auto ssh = describe_ssh_path(circumstances_.ssh, before_, after_, replaced_);
    if (ssh) add("ssh", {}, *ssh);
    return std::move(interrupts_);
  }

 private:
  void add(const std::string& kind, const std::vector<std::string>& subjects, const std::string& sentence) {
    interrupts_.push_back({kind, subjects, sentence});
  }

  // Between two dry runs, the first configuration counts as applied: services that the second run starts
  // are already active, so they restart.
  void add_services() {
    for (const auto& [service, is_restart] : after_.commands.services)
      add("service", {service},
          service + (is_restart || circumstances_.are_two_runs ? " restarts" : " starts"));
    const bool stops_telnet = after_.commands.telnet == "stop" && before_.commands.telnet == "start";
    if (stops_telnet) add("service", {"telnet"}, "the telnet service stops");
  }

  // The links that the run deletes. On a gateway, the commands of the run show them; between two dry runs,
  // the scripts that the first run leaves behind do.
  std::set<std::string> deleted_links() const {
    std::set<std::string> links = after_.commands.deleted_links;
    const bool runs_script = circumstances_.are_two_runs && circumstances_.is_apply;
    if (runs_script) links.insert(before_.links_to_delete.begin(), before_.links_to_delete.end());
    links.insert(after_.commands.deleted_tunnels.begin(), after_.commands.deleted_tunnels.end());
    return links;
  }

  // Only links that systemd-networkd created can be deleted: the kernel refuses to delete a network card.
  void add_links() {
    for (const std::string& name : deleted_links()) {
      if (!value_at(before_.interfaces, name).is_made) continue;
      (after_.interfaces.count(name) != 0 ? replaced_ : gone_).insert(name);
    }
    for (const std::string& name : after_.commands.switched_off)
      if (before_.interfaces.count(name) != 0) gone_.insert(name);
    for (const std::string& name : gone_)
      add("link", {name}, name + " goes down");
    if (replaced_.empty()) return;
    const std::vector<std::string> names(replaced_.begin(), replaced_.end());
    add("link", names,
        enumeration(names) + (names.size() == 1 ? " is" : " are") + " deleted and set up again");
  }

  void add_lost_addresses() {
    for (const auto& [name, interface] : before_.interfaces)
      for (const std::string* address : {&interface.address, &interface.secondary_address})
        add_lost_address(name, without_prefix(*address));
  }

  // A link that no longer has a unit keeps its address until it is set down.
  void add_lost_address(const std::string& name, const std::string& address) {
    if (!parse_ipv4(address)) return;
    const std::string owner = interface_with_address(after_, address);
    const bool is_moved_tunnel = value_at(after_.interfaces, owner).is_tunnel;
    if (owner == name || is_moved_tunnel) return;
    const bool is_left = after_.interfaces.count(name) == 0 && gone_.count(name) == 0;
    if (!owner.empty()) {
      add("link", {name, owner}, address + " moves from " + name + " to " + owner);
    } else if (is_left) {
      add("link", {name}, name + " may keep its address " + address + " until the gateway is restarted");
    } else {
      add("link", {name}, "connections to " + address + ", the address of " + name + ", break");
    }
  }

  const Facts& before_;
  const Facts& after_;
  const Circumstances& circumstances_;
  std::set<std::string> replaced_;
  std::set<std::string> gone_;
  std::vector<Interrupt> interrupts_;
};

}  // namespace

std::vector<Interrupt> find_interrupts(const Facts& before, const Facts& after,
                                       const Circumstances& circumstances) {
  return InterruptFinder(before, after, circumstances).find();
}

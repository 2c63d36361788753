#include "cli/compare/tunnel_changes.h"

#include <functional>
#include <vector>

#include "cli/compare/fields.h"

namespace {

// Returns a string that identifies a tunnel; empty if the tunnel lacks the settings for it.
using Mark = std::function<std::string(const std::string& name, const InterfaceFacts& tunnel)>;

class TunnelMatcher {
 public:
  TunnelMatcher(const Facts& before, const Facts& after) : before_(before), after_(after) {}

  // Tries the strictest criterion first: tunnels that keep their name, description and remote endpoint,
  // then those that keep all but the name.
  std::map<std::string, std::string> match() {
    const auto title = [](const InterfaceFacts& tunnel) { return tunnel.description + "\n" + tunnel.remote; };
    match_by([&](const std::string& name, const InterfaceFacts& tunnel) { return name + title(tunnel); });
    match_by([&](const std::string&, const InterfaceFacts& tunnel) {
      return title(tunnel) + "\n" + tunnel.address;
    });
    match_by([&](const std::string&, const InterfaceFacts& tunnel) { return title(tunnel); });
    const std::vector<std::string InterfaceFacts::*> settings = {
        &InterfaceFacts::remote, &InterfaceFacts::address, &InterfaceFacts::description};
    for (const auto setting : settings)
      match_by([=](const std::string& name, const InterfaceFacts& tunnel) {
        return (tunnel.*setting).empty() ? "" : name + "\n" + tunnel.*setting;
      });
    for (const auto setting : settings)
      match_by([=](const std::string&, const InterfaceFacts& tunnel) { return tunnel.*setting; });
    return former_names_;
  }

 private:
  // Names of the tunnels that are not matched yet, by mark. If several tunnels share a mark, the name is
  // empty, since they cannot be distinguished.
  std::map<std::string, std::string> names_by(const Mark& mark, const Facts& facts, bool is_before) const {
    std::map<std::string, std::string> names;
    for (const auto& [name, interface] : facts.interfaces) {
      const bool is_matched = is_before ? taken_.count(name) != 0 : former_names_.count(name) != 0;
      if (!interface.is_tunnel || is_matched) continue;
      const std::string text = mark(name, interface);
      if (text.empty()) continue;
      const auto [found, is_new] = names.emplace(text, name);
      if (!is_new) found->second.clear();
    }
    return names;
  }

  void match_by(const Mark& mark) {
    const auto before = names_by(mark, before_, true);
    for (const auto& [text, name] : names_by(mark, after_, false)) {
      const std::string former = value_at(before, text);
      if (former.empty() || name.empty()) continue;
      former_names_[name] = former;
      taken_.insert(former);
    }
  }

  const Facts& before_;
  const Facts& after_;
  std::map<std::string, std::string> former_names_;
  std::set<std::string> taken_;
};

}  // namespace

std::map<std::string, std::string> match_tunnels(const Facts& before, const Facts& after) {
  return TunnelMatcher(before, after).match();
}

static std::string title_of(const InterfaceFacts& tunnel) {
  std::string title = "the tunnel";
  if (!tunnel.description.empty()) title += " \"" + tunnel.description + "\"";
  return tunnel.remote.empty() ? title : title + " to " + tunnel.remote;
}

static void say_moved(const std::string& name, const std::string& former, const InterfaceFacts& tunnel,
                      Sentences& sentences) {
  sentences.say(name, what::kNumber, title_of(tunnel) + " moves from " + former + " to " + name);
  sentences.say(name, what::kPresence, "");
}

// Names that exist on both sides but now belong to another tunnel. Reports the former tunnel of such a name
// as removed if it has no new name.
static std::vector<std::string> reused_names(const Facts& before, const Facts& after,
                                             const std::map<std::string, std::string>& former_names,
                                             Sentences& sentences) {
  std::set<std::string> kept;
  for (const auto& [name, former] : former_names)
    kept.insert(former);
  std::vector<std::string> reused;
  for (const auto& [name, tunnel] : before.interfaces) {
    if (!tunnel.is_tunnel || after.interfaces.count(name) == 0) continue;
    if (value_at(former_names, name) == name) continue;
    reused.push_back(name);
    if (kept.count(name) == 0)
      sentences.say(name, what::kNumber, title_of(tunnel).append(" is removed; it was ").append(name));
  }
  return reused;
}

void describe_moved_tunnels(const Facts& before, const Facts& after,
                            const std::map<std::string, std::string>& former_names, Sentences& sentences) {
  for (const auto& [name, former] : former_names)
    if (name != former) say_moved(name, former, after.interfaces.at(name), sentences);
  const std::vector<std::string> reused = reused_names(before, after, former_names, sentences);
  if (reused.empty()) return;
  sentences.add("firewall rules and scripts that name " + enumeration(reused) + " now mean " +
                (reused.size() == 1 ? "another tunnel" : "other tunnels") +
                "; the tunnels are torn down and set up again");
}

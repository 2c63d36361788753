#include "cli/status/forwarding_drift.h"

#include <algorithm>

#include "cli/status/setup_state.h"

std::optional<bool> wanted_forwarding(const Snapshot& snapshot, const InterfaceFacts& wanted) {
  // Packets are forwarded by the bridge, not by its members.
  if (!wanted.bridge.empty()) return std::nullopt;
  const auto& interfaces = snapshot.wanted.interfaces;
  // If the unit of one existing interface enables forwarding, it is enabled for all interfaces.
  if (std::any_of(interfaces.begin(), interfaces.end(), [&snapshot](const auto& one) {
        return one.second.forwards && snapshot.kernel.links.count(one.first) != 0;
      })) {
    return true;
  }
  const bool is_asked_for =
      std::any_of(interfaces.begin(), interfaces.end(), [](const auto& one) { return one.second.forwards; });
  if (snapshot.forbids_forwarding && !is_asked_for) return false;
  return std::nullopt;
}

static std::string setting_command(bool value, const std::string& interface, const char* setting) {
  const std::string path = "/proc/sys/net/ipv4/conf/" + interface + "/" + setting;
  return std::string("echo ") + (value ? "1" : "0") + " > " + quoted_for_shell(path);
}

static void compare_forwarding(const Snapshot& snapshot, const std::string& name,
                               const InterfaceFacts& wanted, const Link& link, std::vector<Drift>& drift) {
  const std::optional<bool> is_wanted = wanted_forwarding(snapshot, wanted);
  if (!is_wanted || !link.forwards || *is_wanted == *link.forwards) return;
  const std::string fix = setting_command(*is_wanted, name, "forwarding");
  if (!*is_wanted) {
    drift.push_back({name, "forwarding is on, but the configuration does not enable it",
                     is_settling(snapshot), "hosts reach networks that they should not", fix});
  } else {
    const bool is_pending = is_pending_at(snapshot, name);
    drift.push_back({name, "forwarding is off, but the configuration enables it", is_pending,
                     "hosts cannot reach other networks", is_pending ? "" : fix});
  }
}

static void compare_proxy_arp(const Snapshot& snapshot, const std::string& name, const InterfaceFacts& wanted,
                              const Link& link, std::vector<Drift>& drift) {
  if (!link.proxies_arp || *link.proxies_arp == wanted.proxies_arp) return;
  // While the cellular link is down, the unit of a pass-through port does not set proxy ARP. A bridge replies
  // instead of its members.
  if ((wanted.is_passed_through && !wanted.proxies_arp) || !wanted.bridge.empty()) return;
  const std::string fix = setting_command(wanted.proxies_arp, name, "proxy_arp");
  if (wanted.proxies_arp) {
    const bool is_pending = is_pending_at(snapshot, name);
    drift.push_back({name, "proxy ARP is off", is_pending,
                     "the device in pass-through cannot reach its gateway", is_pending ? "" : fix});
  } else {
    drift.push_back({name, "proxy ARP is on, but the configuration does not enable it", is_settling(snapshot),
                     "the gateway answers for addresses of other hosts", fix, true});
  }
}

void find_forwarding_drift(const Snapshot& snapshot, std::vector<Drift>& drift) {
  for (const auto& [name, wanted] : snapshot.wanted.interfaces) {
    const auto link = snapshot.kernel.links.find(name);
    if (link == snapshot.kernel.links.end()) continue;
    compare_forwarding(snapshot, name, wanted, link->second, drift);
    compare_proxy_arp(snapshot, name, wanted, link->second, drift);
  }
}

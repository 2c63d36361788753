#include "cli/status/setup_state.h"

// In seconds: systemd-networkd reports that it is ready before it has made its devices.
constexpr std::time_t kLongestStart = 5;

bool is_settling(const Snapshot& snapshot) {
  if (snapshot.lock && snapshot.lock->is_held) return true;
  const auto service = snapshot.services.find(kNetworkd);
  if (service == snapshot.services.end()) return false;
  if (service->second.is_pending()) return true;
  const std::time_t since = service->second.since;
  // The clock may have been set back since.
  return service->second.is_active() && since != 0 && snapshot.kernel.time >= since &&
         snapshot.kernel.time - since < kLongestStart;
}

bool is_being_set_up(const Snapshot& snapshot, const std::string& interface) {
  const auto setup = snapshot.setup.find(interface);
  if (setup == snapshot.setup.end()) return is_settling(snapshot);
  return setup->second == "configuring" || setup->second == "pending" || setup->second == "initialized" ||
         is_settling(snapshot);
}

bool is_coming(const Snapshot& snapshot, const std::string& interface) {
  if (!is_being_set_up(snapshot, interface)) return false;
  const auto link = snapshot.kernel.links.find(interface);
  return link == snapshot.kernel.links.end() || link->second.has_carrier || !link->second.is_up;
}

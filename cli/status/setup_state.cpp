#include "cli/status/setup_state.h"

// In seconds: systemd-networkd reports that it is ready before it has created its devices.
constexpr std::time_t kLongestStart = 5;

// In seconds: if systemd-networkd has made no progress for this long, waiting does not help. While it sets up
// a link, it changes the link's state much more often than that.
constexpr std::time_t kLongestSetup = 30;

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

static std::string setup_of(const Snapshot& snapshot, const std::string& interface) {
  const auto setup = snapshot.setup.find(interface);
  return setup != snapshot.setup.end() ? setup->second : "";
}

// Whether systemd-networkd has not changed the state of the link for longer than a setup takes. False if it
// has never saved the state, so that nothing is known.
static bool is_stuck(const Snapshot& snapshot, const std::string& interface) {
  const auto units = snapshot.units.find(interface);
  if (units == snapshot.units.end() || units->second.saved == 0) return false;
  const auto saved = static_cast<std::time_t>(units->second.saved / kMicroseconds);
  return snapshot.kernel.time - saved >= kLongestSetup;
}

bool is_being_set_up(const Snapshot& snapshot, const std::string& interface) {
  if (is_settling(snapshot)) return true;
  const std::string setup = setup_of(snapshot, interface);
  const bool is_unfinished = setup == "configuring" || setup == "pending" || setup == "initialized";
  return is_unfinished && !is_stuck(snapshot, interface);
}

bool is_held_up_by_udev(const Snapshot& snapshot, const std::string& interface) {
  return setup_of(snapshot, interface) == "pending" && !is_being_set_up(snapshot, interface);
}

bool is_pending_at(const Snapshot& snapshot, const std::string& interface) {
  if (!is_being_set_up(snapshot, interface)) return false;
  const auto link = snapshot.kernel.links.find(interface);
  return link == snapshot.kernel.links.end() || link->second.has_carrier || !link->second.is_up;
}

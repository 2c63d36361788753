#include "cli/status/drift.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>

#include "cli/status/kernel_drift.h"
#include "cli/status/service_health.h"
#include "driver/run_lock.h"

constexpr char kIncomplete[] = "its files may be incomplete";

static std::string in_lower_case(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

std::string describe(const Drift& drift) {
  return drift.what + (drift.is_pending ? " (pending)" : "");
}

std::string quoted_for_shell(const std::string& text) {
  const auto is_plain = [](char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
           std::strchr("._-/:@%+", character) != nullptr;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), is_plain)) return text;
  std::string quoted = "'";
  for (const char character : text)
    quoted += character == '\'' ? "'\\''" : std::string(1, character);
  return quoted + "'";
}

namespace {

class Comparison {
 public:
  explicit Comparison(const Snapshot& snapshot) : snapshot_(snapshot) {}

  std::vector<Drift> find() {
    find_kernel_drift(snapshot_, drift_);
    compare_services();
    add_service_drift(snapshot_, drift_);
    compare_runs();
    if (snapshot_.lock && !snapshot_.lock->is_held)
      say({"lock", "stale", false, "every run waits until it is removed", std::string("rm ") + kLockFile});
    return std::move(drift_);
  }

 private:
  // Pending drift needs no fix.
  void say(Drift drift) {
    if (drift.is_pending) drift.fix.clear();
    drift_.push_back(std::move(drift));
  }

  void compare_services() {
    for (const auto& [name, service] : snapshot_.services) {
      if (service.is_active() || (name == kDnsmasq && !snapshot_.wants_dnsmasq)) continue;
      const bool is_restarted = snapshot_.lock && snapshot_.lock->is_held;
      const bool is_pending = service.is_pending() || is_restarted;
      say({name, "it is not active", is_pending,
           name == kDnsmasq ? "hosts get no addresses and cannot resolve names" : "interfaces are not set up",
           "systemctl restart " + name});
    }
  }

  // Whether a later APPLY succeeded, which does what the other actions do, too.
  bool is_superseded(const LastRun& run) const {
    return std::any_of(snapshot_.runs.begin(), snapshot_.runs.end(), [&run](const LastRun& other) {
      return other.action == "APPLY" && other.end == LastRun::End::kDone && other.began > run.began;
    });
  }

  // WWAN_APPLY always fails without a cellular link, so that failure is not drift.
  void compare_runs() {
    for (const LastRun& run : snapshot_.runs) {
      if (is_superseded(run)) continue;
      const bool is_without_link = run.action == "WWAN_APPLY" && !snapshot_.cellular.is_connected;
      const std::string fix = "cmd_lanfab " + in_lower_case(run.action);
      if (run.end == LastRun::End::kFailed && !is_without_link)
        say({run.action, "the last run failed", false, kIncomplete, fix});
      if (run.end == LastRun::End::kInterrupted)
        say({run.action, "the last run was interrupted", false, kIncomplete, fix});
    }
  }

  const Snapshot& snapshot_;
  std::vector<Drift> drift_;
};

}  // namespace

std::vector<Drift> find_drift(const Snapshot& snapshot) {
  return Comparison(snapshot).find();
}

#include "cli/commands/verification.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "cli/base/subprocess.h"
#include "cli/live/trial_state.h"
#include "cli/status/findings.h"
#include "cli/status/snapshot.h"

constexpr unsigned kPauseSeconds = 1;
// Time limit of one attempt of a probe, in seconds.
constexpr std::int64_t kAttemptSeconds = 10;

ObservedDrift observe_drift() {
  ObservedDrift observed;
  Snapshot snapshot;
  observed.error = take_snapshot(snapshot);
  if (!observed.error) observed.drift = find_all_drift(snapshot).drift;
  return observed;
}

std::vector<Drift> new_drift(const ObservedDrift& before, const ObservedDrift& now) {
  if (now.error) {
    if (before.error) return {};
    return {{"lanfab status", *now.error, false, "the trial cannot be verified", ""}};
  }
  std::vector<Drift> found;
  for (const Drift& one : now.drift) {
    const auto is_same = [&one](const Drift& other) {
      return other.subject == one.subject && other.what == one.what;
    };
    if (!one.is_surplus && std::none_of(before.drift.begin(), before.drift.end(), is_same))
      found.push_back(one);
  }
  return found;
}

std::vector<Drift> wait_until_as_configured(const ObservedDrift& before, std::int64_t end,
                                            const IsActive& goes_on) {
  while (true) {
    std::vector<Drift> found = new_drift(before, observe_drift());
    if (found.empty() || !goes_on() || monotonic_seconds() >= end) return found;
    sleep(kPauseSeconds);
  }
}

// Runs one probe until it succeeds, `end` is reached or the trial is over. Returns whether it succeeded.
static bool probe(const std::string& command, std::int64_t end, const IsActive& goes_on) {
  while (goes_on()) {
    const std::int64_t left = end - monotonic_seconds();
    if (left <= 0) return false;
    if (succeeds_within(static_cast<int>(std::min(left, kAttemptSeconds)), {"sh", "-c", command}))
      return true;
    sleep(kPauseSeconds);
  }
  return false;
}

std::optional<std::string> find_failing_probe(const std::vector<std::string>& commands, std::int64_t end,
                                              const IsActive& goes_on) {
  for (const std::string& command : commands)
    if (!probe(command, end, goes_on)) return command;
  return std::nullopt;
}

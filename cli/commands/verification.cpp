#include "cli/commands/verification.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "cli/base/subprocess.h"
#include "cli/live/trial_state.h"
#include "cli/status/findings.h"
#include "cli/status/snapshot.h"

constexpr unsigned kPauseSeconds = 1;
// The longest time that one attempt of a probe may take, in seconds.
constexpr std::int64_t kAttemptSeconds = 10;

Look look_at_gateway() {
  Look look;
  Snapshot snapshot;
  look.trouble = take_snapshot(snapshot);
  if (!look.trouble) look.drift = find_all_drift(snapshot).drift;
  return look;
}

// What a difference is called once nobody works on it any more: "the route is coming" is then "the route is
// missing". Before a trial it may be one, and during the trial the other.
static std::string lasting_text(const Drift& drift) {
  static constexpr std::pair<const char*, const char*> kEndings[] = {
      {" is coming", " is missing"},
      {"it is coming up", "it is down"},
      {"forwarding is not on yet", "forwarding is off, but the configuration asks for it"},
      {"proxy ARP is not on yet", "proxy ARP is off"},
      {" yet", ""},
  };
  if (!drift.is_pending) return drift.what;
  for (const auto& [pending, lasting] : kEndings) {
    const std::size_t size = std::strlen(pending);
    if (drift.what.size() < size) continue;
    const std::size_t start = drift.what.size() - size;
    if (drift.what.compare(start, size, pending) == 0) return drift.what.substr(0, start) + lasting;
  }
  return drift.what;
}

std::vector<Drift> new_drift(const Look& before, const Look& now) {
  if (now.trouble) {
    if (before.trouble) return {};
    return {{"lanfab status", *now.trouble, false, "the trial cannot be verified", ""}};
  }
  std::vector<Drift> found;
  for (const Drift& one : now.drift) {
    const auto is_same = [&one](const Drift& other) {
      return other.subject == one.subject && lasting_text(other) == lasting_text(one);
    };
    if (!one.is_surplus && std::none_of(before.drift.begin(), before.drift.end(), is_same))
      found.push_back(one);
  }
  return found;
}

std::vector<Drift> wait_until_as_configured(const Look& before, std::int64_t end, const GoesOn& goes_on) {
  while (true) {
    std::vector<Drift> found = new_drift(before, look_at_gateway());
    if (found.empty() || !goes_on() || monotonic_seconds() >= end) return found;
    sleep(kPauseSeconds);
  }
}

// Tries one probe until it succeeds. Returns whether it has.
static bool probe(const std::string& command, std::int64_t end, const GoesOn& goes_on) {
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
                                              const GoesOn& goes_on) {
  for (const std::string& command : commands)
    if (!probe(command, end, goes_on)) return command;
  return std::nullopt;
}

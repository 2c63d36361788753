#pragma once

// Verifies a trial for `lanfab try`, after its APPLY and before the prompt to confirm it.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"

// The drift that `lanfab status` finds at one moment.
struct ObservedDrift {
  std::vector<Drift> drift;
  std::optional<std::string> error;  // why the drift is unknown
};

ObservedDrift observe_drift();

// Drift that is in `now` but not in `before`. Surplus drift does not count: every APPLY may leave something
// of the previous configuration in the kernel. An error that was not there before counts as drift.
std::vector<Drift> new_drift(const ObservedDrift& before, const ObservedDrift& now);

// Whether the trial is still active: nobody has ended or interrupted it.
using GoesOn = std::function<bool()>;

// Observes the drift once a second until there is no new one, `end` is reached (in seconds of
// monotonic_seconds) or the trial is over. Returns the new drift that is left.
std::vector<Drift> wait_until_as_configured(const ObservedDrift& before, std::int64_t end,
                                            const GoesOn& goes_on);

// Runs each command in turn with `sh -c`, once a second until it succeeds. Returns the command that has not
// succeeded when `end` is reached or the trial is over; nothing if all have.
std::optional<std::string> find_failing_probe(const std::vector<std::string>& commands, std::int64_t end,
                                              const GoesOn& goes_on);

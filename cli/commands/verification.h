#pragma once

// Verifies a trial for `lanfab try`, after its APPLY and before the prompt to confirm it.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"

// Drift at one moment, as `lanfab status` finds it.
struct ObservedDrift {
  std::vector<Drift> drift;
  std::optional<std::string> error;  // error message if the drift is unknown
};

ObservedDrift observe_drift();

// Drift in `now` that is not in `before`. Surplus drift is ignored: any APPLY may leave parts of the
// previous configuration in the kernel. An error in `now` counts as drift unless `before` also has an
// error.
std::vector<Drift> new_drift(const ObservedDrift& before, const ObservedDrift& now);

// Whether the trial is still active: it has neither ended nor been interrupted.
using IsActive = std::function<bool()>;

// Observes the drift every second until no new drift is left, monotonic_seconds() reaches `end`, or the
// trial is over. Returns the remaining new drift.
std::vector<Drift> wait_until_as_configured(const ObservedDrift& before, std::int64_t end,
                                            const IsActive& goes_on);

// Runs the commands one after the other with `sh -c`, each of them every second until it succeeds. Returns
// the command that has not succeeded when monotonic_seconds() reaches `end` or the trial is over; nothing
// if all have succeeded.
std::optional<std::string> find_failing_probe(const std::vector<std::string>& commands, std::int64_t end,
                                              const IsActive& goes_on);

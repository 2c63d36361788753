#pragma once

// Checks whether the trial in progress will end by itself.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"

struct TrialFacts {
  bool is_active = false;            // its configuration is the active one
  std::optional<std::int64_t> ends;  // monotonic_seconds(); nothing if the state cannot be read
  bool has_timer = false;
  bool is_rolling_back = false;
  std::int64_t now = 0;  // monotonic_seconds()
  bool has_guard = true;
  bool has_failed = false;  // a rollback attempt has failed
};

// Returns one entry if the trial is being rolled back, is overdue, has lost its state, timer or guard, or if
// its rollback has failed; otherwise none.
std::vector<Drift> trial_drift(const TrialFacts& facts);

// Returns the drift of the trial on this gateway. If it cannot be checked, the reason is added to
// `not_checked`.
std::vector<Drift> find_trial_drift(std::vector<std::string>& not_checked);

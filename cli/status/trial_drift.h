#pragma once

// Whether the trial under way will end by itself.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"

struct TrialFacts {
  bool is_active = false;            // its configuration is the active one
  std::optional<std::int64_t> ends;  // monotonic_seconds(); nothing without a state that can be read
  bool has_timer = false;
  bool is_rolling_back = false;
  std::int64_t now = 0;  // monotonic_seconds()
  bool has_guard = true;
  bool has_failed = false;  // an attempt to roll it back
};

// The alarms of a trial: that it is overdue, that what will end it has gone, or that its rollback has failed.
std::vector<Drift> trial_drift(const TrialFacts& facts);

// Likewise, of this gateway. What this user may not see is added to `not_checked`.
std::vector<Drift> find_trial_drift(std::vector<std::string>& not_checked);

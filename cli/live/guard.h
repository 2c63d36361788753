#pragma once

// The guard of a trial: a service that, in addition to the timer, makes sure that the trial ends. It restores
// files of the trial that are removed, restarts a stopped timer, and rolls back an overdue trial.

#include <functional>
#include <optional>
#include <string>

#include "cli/live/trial_state.h"

// State of the mechanisms that end a trial.
struct Safeguards {
  bool has_timer = false;
  bool has_guard = false;
  bool is_rolling_back = false;  // the rollback service is running, or waits for its next attempt
  bool has_failed = false;       // an attempt to roll back has failed
  bool is_overdue = false;       // the trial's time is over, but no rollback is known to be in progress
};

// Queries the safeguards of a trial. Returns nothing, or why systemd does not answer; in that case, only
// `has_failed` and `is_overdue` are valid.
std::optional<std::string> read_safeguards(const TrialState& state, Safeguards& safeguards);

// Guards the trial in progress until it has ended; run by lanfab-guard.service. `roll_back` rolls back the
// trial and returns 0; after any other status, it is called again later.
void guard_trial(const std::function<int()>& roll_back);

// Stops the guard of a trial that has ended, and removes the files that the trial kept for its rollback.
// Returns false if the guard could not be stopped; the guard then removes the files itself.
bool end_guard();

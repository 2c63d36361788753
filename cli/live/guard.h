#pragma once

// The guard of a trial: a service that, in addition to the timer, makes sure that the trial ends. It restores
// files and units of the trial that are removed, and rolls back an overdue trial.

#include <functional>
#include <optional>
#include <string>

#include "cli/live/trial_state.h"

// Mechanisms that will end a trial.
struct Safeguards {
  bool has_timer = false;
  bool has_guard = false;
  bool is_rolling_back = false;  // the rollback service is running, or waits for its next attempt
  bool has_failed = false;       // an attempt to roll back has failed
  bool is_overdue = false;       // the time is over, but no rollback is in progress
};

// Returns nothing, or why systemd does not answer; then only the last two members are set.
std::optional<std::string> read_safeguards(const TrialState& state, Safeguards& safeguards);

// Guards the trial in progress until it has ended; run by lanfab-guard.service. `roll_back` ends the trial
// and returns 0, or another status if it has to be called again.
void guard_trial(const std::function<int()>& roll_back);

// Stops the guard of a trial that is over, and removes the files that the trial kept for its rollback. False
// if the guard could not be stopped: it then removes the files itself.
bool end_guard();

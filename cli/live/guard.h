#pragma once

// The guard of a trial: a service that, beside the timer, makes sure that the trial ends. It puts back what
// somebody removes of the trial and of its safeguards, and rolls back itself when nobody else does.

#include <functional>
#include <optional>
#include <string>

#include "cli/live/trial_state.h"

// What will end a trial.
struct Safeguards {
  bool has_timer = false;
  bool has_guard = false;
  bool is_rolling_back = false;  // the rollback service is at work, or waits for its next attempt
  bool has_failed = false;       // an attempt to roll back has failed
  bool is_overdue = false;       // the time is over, but nobody is rolling back
};

// Returns nothing, or why systemd does not answer; then only the last two are known.
std::optional<std::string> read_safeguards(const TrialState& state, Safeguards& safeguards);

// Watches over the trial under way until it has ended: what lanfab-guard.service runs. `roll_back` ends the
// trial and returns 0, or another status if it has to be called again.
void guard_trial(const std::function<int()>& roll_back);

// Ends the guard of a trial that is over, and removes what the trial kept for its rollback. False if the
// guard could not be stopped: it removes the rest itself.
bool end_guard();

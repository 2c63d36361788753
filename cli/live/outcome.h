#pragma once

// Record of how the last trial ended. The next trial removes it.

#include <cstdint>
#include <optional>
#include <string>

#include "cli/live/trial_state.h"

enum class Ending { kConfirmed, kRolledBack, kStuck };

// Reasons why a trial ended by itself.
inline constexpr char kNotConfirmedInTime[] = "since it was not confirmed in time";
inline constexpr char kNotApplied[] = "since its APPLY failed or was stopped";

struct Outcome {
  std::string trial;  // its ID
  std::string who;    // as in TrialState
  std::string file;   // as in TrialState
  Ending ending = Ending::kConfirmed;
  std::string why;         // "by anna from 192.0.2.7", "since it was not confirmed in time"
  std::string note;        // additional note; may be empty
  std::string active;      // SHA-256 of the configuration that is active since then
  std::int64_t ended = 0;  // seconds since 1970
};

// Outcome of a trial that ends now. The caller sets `note` and `active`.
Outcome outcome_of(const TrialState& state, Ending ending, const std::string& why);

// Writes the outcome, readable by every user. False, with errno set, on failure.
bool write_outcome(const Outcome& outcome);

// Returns the recorded outcome; nothing if no trial has ended since boot or a new one has begun.
std::optional<Outcome> read_outcome();

// Removes the outcome; called when a trial begins.
void forget_outcome();

// "new.json, tried by anna, was rolled back at 2026-03-01 10:00:00 since its APPLY failed"
std::string describe(const Outcome& outcome);

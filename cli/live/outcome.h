#pragma once

// How the last trial ended, for those who come back later. The next trial removes it.

#include <cstdint>
#include <optional>
#include <string>

#include "cli/live/trial_state.h"

enum class Ending { kConfirmed, kRolledBack, kStuck };

// Why a trial ended that nobody has ended.
inline constexpr char kNotConfirmedInTime[] = "since it was not confirmed in time";
inline constexpr char kNotApplied[] = "since its APPLY failed or was stopped";

struct Outcome {
  std::string trial;  // its ID
  std::string who;    // as in TrialState
  std::string file;   // likewise
  Ending ending = Ending::kConfirmed;
  std::string why;         // "by anna from 192.0.2.7", "since it was not confirmed in time"
  std::string note;        // what has to be said beside it, or nothing
  std::string active;      // the SHA-256 of the configuration that is active since
  std::int64_t ended = 0;  // seconds since 1970
};

// How this trial ends now. The rest is for the caller to set.
Outcome outcome_of(const TrialState& state, Ending ending, const std::string& why);

// For everybody to read. False, with errno set, if it cannot be written.
bool write_outcome(const Outcome& outcome);

// Nothing if no trial has ended since the machine was started, or one is under way.
std::optional<Outcome> read_outcome();

// For a trial that begins.
void forget_outcome();

// "new.json, tried by anna, was rolled back at 2026-03-01 10:00:00 since its APPLY failed"
std::string describe(const Outcome& outcome);

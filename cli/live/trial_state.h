#pragma once

// The trial under way, as its `lanfab try` has noted it for every other one.

#include <cstdint>
#include <optional>
#include <string>

// The configuration on trial. While it is active it is also what the installed file's path leads to.
inline constexpr char kTrialFile[] = "/run/lanfab/network.json";

struct TrialState {
  std::string who;         // such as "anna from 192.0.2.7"
  std::string file;        // where the configuration came from
  std::int64_t began = 0;  // seconds of the clock that nobody sets
  std::int64_t ends = 0;   // likewise
};

std::int64_t monotonic_seconds();

// Who runs this process, and from where.
std::string caller();

// Nothing without a trial. A state whose writer was killed over it is no trial yet: nothing had begun.
std::optional<TrialState> read_state();

// False, with errno set, when it cannot be written.
bool write_state(const TrialState& state);

// Removes the state and the timer of a trial that is over. Returns nothing, or an error message about what is
// left of it.
std::optional<std::string> remove_trial();

// Removes the state and the trial's file. False, with errno set, when one of them stays.
bool remove_state();

// "anna from 192.0.2.7 tries new.json since 40 s, for 80 s more".
std::string describe(const TrialState& state);

#pragma once

// The trial in progress: its configuration, and its state, which `lanfab try` writes and other commands read.

#include <cstdint>
#include <optional>
#include <string>

#include "libcmd/configuration_file.h"

struct TrialState {
  std::string who;         // such as "anna from 192.0.2.7"
  std::string file;        // where the configuration came from
  std::int64_t began = 0;  // CLOCK_MONOTONIC, in seconds
  std::int64_t ends = 0;   // CLOCK_MONOTONIC, in seconds
  std::string id = {};     // unique
  // As in InstalledFile.
  std::string path = kInstalledConfiguration;
  std::string entry = kInstalledConfiguration;
  std::string sha256 = {};  // of the configuration on trial
};

// The kernel's network state before the trial, and the links that the trial's units name; see cli/restore.
inline constexpr char kKernelRecord[] = "/run/lanfab/kernel.json";
inline constexpr char kTrialLinks[] = "/run/lanfab/kernel.links";

std::string new_trial_id();

// Whether a configuration is on trial. Runs of cmd_lanfab then read it instead of the installed one.
bool is_trial_active();

// Path of the configuration that a run would read now: the one on trial, or the installed one.
std::string active_configuration();

// Writes the configuration of a trial with the owner and mode of the installed file, and a copy of the
// installed file beside it. Runs do not read it before activate_trial(). Returns false and sets errno on
// failure.
bool stage_trial(const std::string& content, const std::string& installed);

// The configuration that a rollback applies, and its directory. It is the one applied before the trial.
inline constexpr char kTargetDirectory[] = "/run/lanfab/target";
inline constexpr char kTarget[] = "/run/lanfab/target/network.json";

// Saves `text` as the configuration that a rollback applies. Returns false and sets errno on failure.
bool stage_target(const std::string& text);

// Makes the staged configuration the active one. Returns false and sets errno on failure, for example if a
// rollback has removed it.
bool activate_trial();

// Marks the end of the trial and removes its configuration, staged or active. Returns false and sets errno if
// a file could not be removed.
bool deactivate_trial();

// Whether `content`, read from the installed file, differs from that file when the trial began. Also true if
// the copy from then cannot be read.
bool is_installed_changed(const std::string& content);

// Whether the configuration on trial is already installed, because `lanfab confirm` was killed before it
// finished.
bool is_trial_installed(const TrialState& state);

// How a trial ends. `lanfab confirm` and the rollback may run at the same time, and either may be suspended
// at any point: the first decision counts for both.
enum class Decision { kNone, kConfirmed, kRolledBack };
Decision read_decision();

// Records the decision, unless one has been recorded. Returns the decision that counts, or kNone if it could
// not be recorded.
Decision decide(Decision wanted);

// Records why the rollback service is started: "by anna from 192.0.2.7". Only the first reason counts.
void request_rollback(const std::string& why);

// The recorded reason; empty if none was recorded.
std::string requested_rollback();

std::int64_t monotonic_seconds();

// The user who runs this process, and the address of the SSH client: "anna from 192.0.2.7".
std::string caller();

// Returns the state of the trial; nothing without a trial. A partially written state is ignored, since that
// trial had not begun.
std::optional<TrialState> read_state();

// Returns false and sets errno on failure.
bool write_state(const TrialState& state);

// Marks the end of a trial, removes its state and files, and stops its timer and guard. Returns nothing, or
// an error message if a file or the timer could not be removed.
std::optional<std::string> remove_trial();

// Like remove_trial(), but the configuration on trial stays active.
std::optional<std::string> forget_trial();

// Removes the state and the files of a trial. Returns false and sets errno if one of them could not be
// removed.
bool remove_state();

// "new.json on trial by anna from 192.0.2.7 for 40 s, 80 s left".
std::string describe(const TrialState& state);

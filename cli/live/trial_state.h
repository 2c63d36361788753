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
  std::int64_t ends = 0;   // likewise
  std::string id = {};     // unique
  // As in InstalledFile.
  std::string path = kInstalledConfiguration;
  std::string entry = kInstalledConfiguration;
  std::string sha256 = {};  // of the configuration on trial
};

// The kernel's network before the trial, and the links that the units of the trial name: cli/restore.
inline constexpr char kKernelRecord[] = "/run/lanfab/kernel.json";
inline constexpr char kTrialLinks[] = "/run/lanfab/kernel.links";

std::string new_trial_id();

// Whether a configuration is on trial. Runs of cmd_lanfab read it then instead of the installed one.
bool is_trial_active();

// The file that a run would read now: the configuration on trial, or the installed one.
std::string active_configuration();

// Writes the configuration of a trial, with the owner and mode of the installed file, and keeps a copy of the
// installed one beside it. Nothing reads it before activate_trial. False, with errno set, on failure.
bool stage_trial(const std::string& content, const std::string& installed);

// What a rollback applies: network.json in this directory, with the text that was active before the trial.
inline constexpr char kTargetDirectory[] = "/run/lanfab/target";
inline constexpr char kTarget[] = "/run/lanfab/target/network.json";

// Saves the text as the target of the rollback. False, with errno set, on failure.
bool stage_target(const std::string& text);

// Makes the staged configuration the active one. False, with errno set, on failure: a rollback has removed
// it, for example.
bool activate_trial();

// Removes the configuration on trial, staged or active. False, with errno set, when it stays.
bool deactivate_trial();

// Whether the installed file, which has this content, is not what it was when the trial began.
bool is_installed_changed(const std::string& content);

// Whether the configuration on trial has been installed, by a `lanfab confirm` that was killed before its
// end.
bool is_trial_installed(const TrialState& state);

// How a trial ends. `lanfab confirm` and the rollback may run at the same time, and either may be suspended
// at any point: the first decision counts for both.
enum class Decision { kNone, kConfirmed, kRolledBack };
Decision read_decision();

// Makes the decision, unless there is one. Returns the decision that counts; kNone if it cannot be written.
Decision decide(Decision wanted);

// Records why the rollback service is started: "by anna from 192.0.2.7". Only the first reason counts.
void request_rollback(const std::string& why);

// The recorded reason; empty if none was recorded.
std::string requested_rollback();

std::int64_t monotonic_seconds();

// The user who runs this process, and the address of the SSH client: "anna from 192.0.2.7".
std::string caller();

// Nothing without a trial. A partly written state does not count: the trial had not begun.
std::optional<TrialState> read_state();

// False, with errno set, when it cannot be written.
bool write_state(const TrialState& state);

// Removes the state and the timer of a trial that is over. Returns nothing, or an error message about what is
// left of the trial.
std::optional<std::string> remove_trial();

// Like remove_trial(), but the configuration on trial stays the active one.
std::optional<std::string> forget_trial();

// Removes the state and the files of a trial. False, with errno set, when one of them stays.
bool remove_state();

// "new.json on trial by anna from 192.0.2.7 for 40 s, 80 s left".
std::string describe(const TrialState& state);

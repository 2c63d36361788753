#include "cli/commands/confirm.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "cli/base/file.h"
#include "cli/base/sha256.h"
#include "cli/base/signals.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/history/history.h"
#include "cli/live/applied.h"
#include "cli/live/installed_file.h"
#include "cli/live/outcome.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"

static int refuse(const std::string& reason) {
  report("lanfab: " + reason);
  return 1;
}

static int refuse_changed(const std::string& path) {
  return refuse(
      printable(path) +
      " has changed since the trial began: 'lanfab confirm --force' replaces it, 'lanfab revert' applies "
      "it");
}

static void report_previous(const InstalledFile& installed) {
  const std::string previous = installed.entry + kPreviousSuffix;
  // If the configuration was already the installed one, no previous one was written.
  if (access(previous.c_str(), F_OK) != 0) {
    std::printf("Confirmed.\n");
  } else {
    std::printf("Confirmed. The previous configuration was saved as %s.\n", printable(previous).c_str());
  }
}

// Checks that the configuration on trial is the one that was applied. Returns nothing if it is; otherwise
// an error message.
static std::optional<std::string> find_difference(const File& trial, const TrialState& state) {
  const std::string advice = ": run 'lanfab revert' to roll back";
  if (sha256(trial.content) != state.sha256)
    return std::string(kTrialConfiguration) + " was edited during the trial" + advice;
  Applied applied;
  if (const auto error = read_applied(applied)) return *error + advice;
  if (applied.sha256 != state.sha256) return "another configuration has been applied since" + advice;
  return std::nullopt;
}

// Whether this trial is still active and not being rolled back. Checked even though this process holds the
// lock: a rollback waits for the lock only for a limited time.
static bool is_undecided(const TrialState& state) {
  const auto present = read_state();
  return present && present->id == state.id && read_decision() != Decision::kRolledBack;
}

static Permission permission_of(const TrialState& state) {
  return {[&state] { return is_undecided(state); },
          [&state] { return decide(Decision::kConfirmed) == Decision::kConfirmed && is_undecided(state); }};
}

// Ends the trial after its configuration has been installed. Removes the timer last: if this process is
// killed before, the rollback service finds the configuration installed and leaves it active. Returns
// nothing on success; otherwise an error message.
static std::optional<std::string> end_confirmed_trial(const TrialState& state) {
  if (!deactivate_trial()) return with_errno(kTrialConfiguration);
  Outcome outcome = outcome_of(state, Ending::kConfirmed, "by " + caller());
  outcome.active = state.sha256;
  if (!write_outcome(outcome)) report(with_errno(kTrialDirectory));
  return remove_trial();
}

static int confirm_trial(const TrialState& state, const InstalledFile& installed,
                         const ConfirmOptions& options) {
  File trial;
  File current;
  if (!read_file(kTrialConfiguration, trial)) return fail(with_errno(kTrialConfiguration));
  if (!read_file(installed.entry, current)) return fail(with_errno(installed.entry));
  if (const auto difference = find_difference(trial, state)) return refuse(*difference);
  if (current.content != trial.content && is_installed_changed(current.content) && !options.force)
    return refuse_changed(installed.path);
  // Without this record, the newly installed file would count as changed since the APPLY.
  if (!record_applied(trial.content)) return fail(with_errno(kTrialDirectory) + "; the trial continues");
  std::string error;
  const Installation installation = install(trial.content, installed, permission_of(state), error);
  if (installation == Installation::kRefused) return refuse("the trial is being rolled back");
  if (installation == Installation::kFailed) return fail(error + "; the trial continues");
  const auto cleanup_error = end_confirmed_trial(state);
  // Last, since it may wait for a lock.
  record_in_history(trial.content, options.comment);
  if (installation == Installation::kPlaced) return fail(error + "; confirmed, but not yet synced to disk");
  if (cleanup_error) return fail("lanfab: confirmed, but cleaning up the trial failed: " + *cleanup_error);
  report_previous(installed);
  return 0;
}

// Whether the trial can be confirmed now. If not, reports why and sets the exit status.
static bool is_confirmable(int& status) {
  bool is_applying = false;
  bool is_reverting = false;
  for (const auto& [unit, is_running] : {std::pair(kApplyUnit, &is_applying), {kRevertUnit, &is_reverting}}) {
    if (const auto error = query_unit(unit, *is_running)) {
      status = fail(*error);
      return false;
    }
  }
  if (is_applying) {
    status = refuse("the trial is still being applied");
    return false;
  }
  if (is_reverting || !is_trial_active()) {
    status = refuse("the trial is being rolled back");
    return false;
  }
  return true;
}

int confirm(const ConfirmOptions& options) {
  if (const auto error = enter_system()) return fail(*error);
  InstalledFile installed;
  if (const auto error = find_installed(installed)) return fail(*error);
  // An interrupted confirmation would remain incomplete until the trial ends.
  const BlockedSignals signals{SIGINT, SIGQUIT, SIGTSTP, SIGHUP, SIGTERM};
  const ExclusiveLock lock(kTrialDirectory);
  if (!lock.is_held()) return fail(lock.error());
  const auto state = read_state();
  if (!state || (!options.trial.empty() && state->id != options.trial))
    return refuse("no trial is in progress");
  // A confirmation that was killed may have left the file unmounted. Only the state has its entry then.
  if (state->path == installed.path) installed.entry = state->entry;
  int status = 0;
  return is_confirmable(status) ? confirm_trial(*state, installed, options) : status;
}

Command confirm_command() {
  static ConfirmOptions options;
  return {"confirm",
          "Confirm the configuration applied by 'try'",
          {{"-m COMMENT", "a comment for 'lanfab history'", &options.comment},
           {"--force", "replace an installed file that has changed since the trial began", &options.force}},
          "The configuration that it replaces is saved as network.json.previous.",
          [] { return confirm(options); }};
}

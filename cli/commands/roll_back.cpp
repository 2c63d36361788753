#include "cli/commands/roll_back.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/file.h"
#include "cli/base/sha256.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/applied.h"
#include "cli/live/outcome.h"
#include "cli/live/reserve.h"
#include "cli/live/runs.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"
#include "cli/restore/record.h"
#include "cli/restore/restore.h"

// Time limits of wall(1) and of waiting for the lock, in seconds.
constexpr int kWallLimit = 5;
constexpr int kLockLimit = 5;

// Prints the message to the journal as an alert, and sends it to all logged-in users.
static void broadcast_alert(const std::string& message) {
  std::fprintf(stderr, "<1>%s\n", message.c_str());
  std::fflush(stderr);
  succeeds_within(kWallLimit, {"wall", "lanfab: " + message});
}

// Directory of the configuration that was active before the trial; empty if it is lost, and the installed
// configuration has to be applied instead.
static std::string directory_of_target() {
  return access(kTarget, F_OK) == 0 ? kTargetDirectory : "";
}

// Applies the previous configuration; the one on trial has been deactivated.
static bool apply_old_configuration(const std::string& program) {
  end_stopped_runs();
  return apply_and_record(program, directory_of_target());
}

// Reason for the rollback.
static std::string reason_of(const TrialState& state) {
  std::string reason = requested_rollback();
  if (!reason.empty()) return reason;
  if (state.ends != 0 && monotonic_seconds() >= state.ends) return kNotConfirmedInTime;
  return is_applied(state.sha256) ? "since " + std::string(kRevertUnit) + " was started" : kNotApplied;
}

// Note on the previous configuration, which is active now; empty if it is the installed one.
static std::string note_of(const std::string& active, const TrialState& state) {
  File installed;
  if (read_file(state.path, installed) && sha256(installed.content) == active) return "";
  return "the network is that of before the trial; " + printable(state.path) +
         " is another configuration, which is not applied";
}

// Reports the rollback and records the outcome. `left` describes remains of the trial in the kernel.
static void report_rollback(const TrialState& state, const std::string& reason,
                            const std::vector<std::string>& left) {
  Outcome outcome = outcome_of(state, Ending::kRolledBack, reason);
  Applied applied;
  if (!read_applied(applied)) {
    outcome.active = applied.sha256;
    outcome.note = note_of(applied.sha256, state);
  }
  for (const std::string& difference : left) {
    broadcast_alert("the old configuration is active, but " + difference);
    outcome.note += (outcome.note.empty() ? "" : "; ") + difference;
  }
  std::printf("the trial is over; the previous configuration is active\n");
  if (!outcome.note.empty()) std::printf("%s\n", outcome.note.c_str());
  if (!write_outcome(outcome)) report(with_errno(kTrialDirectory));
}

bool is_trial_left() {
  return read_state() || is_trial_active() || has_failed();
}

// Ends a trial whose configuration was installed by a `lanfab confirm` that was killed. The installed file
// may not be visible yet, because it is mounted by itself. Then the configuration on trial, which has the
// same content, stays active. Returns the exit status.
static int complete_confirmation(const TrialState& state) {
  File trial;
  File shown;
  const bool is_visible = !read_file(kTrialConfiguration, trial) ||
                          (read_file(state.path, shown) && shown.content == trial.content);
  Outcome outcome = outcome_of(state, Ending::kConfirmed, "by a lanfab confirm that was killed");
  outcome.active = state.sha256;
  if (!write_outcome(outcome)) report(with_errno(kTrialDirectory));
  if (const auto error = is_visible ? remove_trial() : forget_trial())
    return fail("lanfab: cleaning up the trial failed: " + *error);
  std::printf("the trial had been confirmed; its configuration stays active\n");
  if (!is_visible) {
    broadcast_alert(printable(state.path) + " is not the configuration that was confirmed: mount " +
                    printable(state.entry) + " there and remove " + kTrialConfiguration);
  }
  return 0;
}

// Whether to roll the trial back: false if a `lanfab confirm` that is running or was killed has confirmed
// it. With `is_locked`, no other process is deciding.
static bool is_to_be_rolled_back(const TrialState& state, bool is_locked) {
  if (is_locked && read_decision() == Decision::kNone && is_trial_installed(state)) return false;
  return decide(Decision::kRolledBack) != Decision::kConfirmed;
}

// Tries once to end the trial. The state stays until the previous configuration is active, so that another
// attempt is possible. Returns the exit status.
static int attempt_rollback(bool& is_old_active) {
  const auto program = find_program();
  if (!program) return fail("lanfab: cmd_lanfab is not installed");
  if (!is_trial_left()) return 0;
  std::optional<ExclusiveLock> lock(std::in_place, kTrialDirectory, kLockLimit);
  // The rollback matters more than the lock, whose owner may have been stopped.
  const bool is_locked = lock->is_held();
  if (!is_locked) fail(lock->error());
  if (!is_trial_left()) return 0;
  const TrialState state = read_state().value_or(TrialState{});
  if (!is_to_be_rolled_back(state, is_locked)) return complete_confirmation(state);
  const std::string reason = reason_of(state);
  // Keeps the reason for the next attempt, if this one fails.
  request_rollback(reason);
  note_trial_links();
  if (!deactivate_trial()) return fail(with_errno(kTrialConfiguration));
  lock.reset();
  stop_apply();
  if (!apply_old_configuration(*program)) {
    write_outcome(outcome_of(state, Ending::kStuck, reason));
    return 1;
  }
  is_old_active = true;
  forget_failure();
  report_rollback(state, reason, restore_kernel());
  if (is_locked) lock.emplace(kTrialDirectory, kLockLimit);
  if (const auto error = remove_trial()) return fail("lanfab: cleaning up the trial failed: " + *error);
  return 0;
}

int roll_back() {
  const bool is_left = is_trial_left();
  bool is_old_active = false;
  const int status = attempt_rollback(is_old_active);
  if (status != 0 && is_left && !is_old_active && mark_failure())
    broadcast_alert("rolling back the trial failed; retrying: see 'journalctl -u lanfab-revert'");
  return status;
}

#include "cli/commands/roll_back.h"

#include <cstdio>
#include <optional>
#include <string>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/installed_file.h"
#include "cli/live/reserve.h"
#include "cli/live/runs.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"

// In seconds.
constexpr int kWallLimit = 5;
constexpr int kLockLimit = 5;

// To the journal as an alert, and to everyone who is logged in.
static void broadcast_alert(const std::string& message) {
  std::fprintf(stderr, "<1>%s\n", message.c_str());
  std::fflush(stderr);
  succeeds_within(kWallLimit, {"wall", "lanfab: " + message});
}

// The old configuration is the active one again; now it has to come into force.
static bool apply_old_configuration(const std::string& program) {
  end_stopped_runs();
  remove_stale_lock();
  return apply_here(program);
}

bool is_trial_left() {
  return read_state() || is_trial_active() || has_failed();
}

// Ends a trial whose configuration a `lanfab confirm` that was killed has installed. Where that is not
// visible yet, since the file is mounted by itself, the configuration on trial stays the active one: it is
// the same.
static int complete_confirmation(const TrialState& state) {
  File trial;
  File shown;
  const bool is_visible =
      read_file(kTrialConfiguration, trial) && read_file(state.path, shown) && shown.content == trial.content;
  if (const auto error = is_visible ? remove_trial() : forget_trial())
    return fail("lanfab: what belongs to the trial is still there: " + *error);
  std::printf("the configuration on trial had been confirmed; it stays active\n");
  if (!is_visible) {
    broadcast_alert(printable(state.path) + " is not the configuration that was confirmed: mount " +
                    printable(state.entry) + " there and remove " + kTrialConfiguration);
  }
  return 0;
}

// Ends the trial once. Until the old configuration is in force, the state stays, so that this can be called
// again. Returns the exit status.
static int attempt_rollback(bool& is_old_active) {
  const auto program = find_program();
  if (!program) return fail("lanfab: cmd_lanfab is not installed");
  if (!is_trial_left()) return 0;
  std::optional<ExclusiveLock> lock(std::in_place, kTrialDirectory, kLockLimit);
  // The rollback matters more than the lock, whose owner may have been stopped.
  const bool is_locked = lock->is_held();
  if (!is_locked) fail(lock->error());
  if (!is_trial_left()) return 0;
  const auto state = read_state();
  if (state && is_trial_installed(*state)) return complete_confirmation(*state);
  if (!deactivate_trial()) return fail(with_errno(kTrialConfiguration));
  lock.reset();
  stop_apply();
  if (!apply_old_configuration(*program)) return 1;
  is_old_active = true;
  forget_failure();
  std::printf("the trial is over; the old configuration is in force\n");
  if (is_locked) lock.emplace(kTrialDirectory, kLockLimit);
  if (const auto error = remove_trial())
    return fail("lanfab: what belongs to the trial is still there: " + *error);
  return 0;
}

int roll_back() {
  const bool is_left = is_trial_left();
  bool is_old_active = false;
  const int status = attempt_rollback(is_old_active);
  if (status != 0 && is_left && !is_old_active && mark_failure())
    broadcast_alert(
        "the rollback of the trial has failed; it is tried again: journalctl --unit=lanfab-revert");
  return status;
}

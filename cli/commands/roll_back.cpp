#include "cli/commands/roll_back.h"

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/installed_file.h"
#include "cli/live/runs.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"
#include "cli/restore/record.h"
#include "cli/restore/restore.h"

// How long the service tries, and how long it waits between two attempts.
constexpr std::int64_t kAttemptSeconds = 600;
constexpr unsigned kPauseSeconds = 5;

// To the journal as an alert, and to everyone who is logged in.
static void broadcast_alert(const std::string& message) {
  std::fprintf(stderr, "<1>%s\n", message.c_str());
  std::fflush(stderr);
  succeeds({"wall", "lanfab: " + message});
}

// The old configuration is the installed one again; now it has to come into force. Until it has, the state
// stays, so that `lanfab revert` can be called once more.
static bool apply_old_configuration(const std::string& program) {
  const std::int64_t end = monotonic_seconds() + kAttemptSeconds;
  for (bool is_first = true; true; is_first = false) {
    remove_stale_lock();
    if (apply_here(program)) return true;
    if (is_first)
      broadcast_alert(
          "the trial is over, but the APPLY of the old configuration has failed; it is tried again");
    if (monotonic_seconds() >= end) break;
    sleep(kPauseSeconds);
  }
  broadcast_alert(
      "the old configuration is not in force: its APPLY fails again and again; lanfab revert tries it anew");
  return false;
}

bool is_trial_left() {
  return read_state() || is_trial_active();
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

int roll_back() {
  const auto program = find_program();
  if (!program) return fail("lanfab: cmd_lanfab is not installed");
  if (!is_trial_left()) return 0;
  std::optional<ExclusiveLock> lock(kTrialDirectory);
  // The rollback matters more than the lock, whose owner may have been stopped.
  const bool is_locked = lock->is_held();
  if (!is_locked) fail(lock->error());
  if (!is_trial_left()) return 0;
  const auto state = read_state();
  if (state && is_trial_installed(*state)) return complete_confirmation(*state);
  note_trial_links();
  if (!deactivate_trial()) return fail(with_errno(kTrialConfiguration));
  lock.reset();
  stop_apply();
  if (!apply_old_configuration(*program)) return 1;
  for (const std::string& difference : restore_kernel())
    broadcast_alert("the old configuration is active, but " + difference);
  std::printf("the trial is over; the old configuration is in force\n");
  if (is_locked) lock.emplace(kTrialDirectory);
  if (const auto error = remove_trial())
    return fail("lanfab: what belongs to the trial is still there: " + *error);
  return 0;
}

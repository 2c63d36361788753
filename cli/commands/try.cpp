// `lanfab try`: applies a configuration, and rolls back unless it is confirmed in time.

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>

#include "cli/base/file.h"
#include "cli/base/signals.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/check.h"
#include "cli/commands/commands.h"
#include "cli/commands/confirm.h"
#include "cli/commands/diff.h"
#include "cli/commands/revert.h"
#include "cli/config_file/source.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/installed_file.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"
#include "cli/restore/restore.h"

constexpr char kRevertFails[] =
    "the rollback service does not work: journalctl --unit=lanfab-revert-test; it cannot see /home, /root "
    "and /tmp, nor what drop-ins of lanfab.service hide from it";

static volatile std::sig_atomic_t is_interrupted = 0;

extern "C" {

static void note_interrupt(int) {
  is_interrupted = 1;
}

}  // extern "C"

namespace {

struct TryOptions {
  std::string file;  // "-" is standard input
  std::int64_t seconds = 120;
  bool force = false;  // errors that `lanfab check` finds do not stop it
};

}  // namespace

// What stands in the way of a trial: another one, or what systemd does for it. Returns nothing if the way is
// free.
static std::optional<std::string> find_obstacle() {
  bool has_timer = false;
  bool is_reverting = false;
  if (auto trouble = query_unit(kRevertTimer, has_timer)) return trouble;
  if (auto trouble = query_unit(kRevertUnit, is_reverting)) return trouble;
  const auto present = read_state();
  // A state alone is not a trial: its `lanfab try` was killed before the timer started.
  if (present && (is_trial_active() || has_timer || is_reverting))
    return "lanfab: a trial is under way: " + describe(*present);
  if (is_trial_active()) return "lanfab: a trial is under way: lanfab revert ends it";
  if (is_reverting) return "lanfab: a trial is being taken back";
  return std::nullopt;
}

// Steps 1 to 3, which Ctrl-C does not interrupt. Returns nothing, or why there is no trial; nothing of it is
// left then.
static std::optional<std::string> begin(const std::string& content, const InstalledFile& installed,
                                        const TrialState& state) {
  const BlockedSignals signals{SIGINT, SIGQUIT, SIGTSTP, SIGHUP, SIGTERM};
  const ExclusiveLock lock(kTrialDirectory);
  if (!lock.is_held()) return lock.error();
  if (auto obstacle = find_obstacle()) return obstacle;
  // That of one whose `lanfab confirm` was killed at its end.
  if (!stop_revert_timer()) return std::string("lanfab: ") + kRevertTimer + " cannot be stopped";
  if (!remove_state()) return with_errno(kTrialDirectory);
  std::optional<std::string> trouble;
  record_kernel();
  const bool is_staged = stage_trial(content, installed.path);
  // Without a state the service finds nothing to do.
  if (is_staged && !test_revert_service()) {
    trouble = std::string("lanfab: ") + kRevertFails;
  } else if (!is_staged || !write_state(state)) {
    trouble = with_errno(kTrialDirectory);
  } else if (!start_revert_timer(state.ends - state.began)) {
    trouble = "lanfab: the timer that takes the trial back cannot be started";
  } else if (!activate_trial()) {
    trouble = with_errno(kTrialConfiguration);
  }
  if (!trouble) return std::nullopt;
  // What fails here, the timer tries again.
  if (!deactivate_trial()) return *trouble + "; " + with_errno(kTrialConfiguration);
  if (const auto error = remove_trial()) *trouble += "; " + *error;
  return trouble;
}

static int roll_back_trial() {
  const int status = end_trial();
  return status == 0 ? 1 : status;
}

namespace {

// What has become of a trial, which another terminal or the timer may have ended.
enum class Fate { kActive, kConfirmed, kBeingRolledBack, kRolledBack };

// The trial of this process.
struct OwnTrial {
  TrialState state;
  std::string content;
  InstalledFile installed;
};

}  // namespace

static bool is_state_of(const OwnTrial& trial) {
  const auto state = read_state();
  return state && state->id == trial.state.id;
}

static Fate find_fate(const OwnTrial& trial) {
  if (is_state_of(trial) && is_trial_active()) return Fate::kActive;
  // A confirmation that is under way ends first. Whatever could not be read above is read again.
  const ExclusiveLock lock(kTrialDirectory);
  if (is_state_of(trial)) return is_trial_active() ? Fate::kActive : Fate::kBeingRolledBack;
  File file;
  const bool is_installed = read_file(trial.installed.entry, file) && file.content == trial.content;
  return is_installed ? Fate::kConfirmed : Fate::kRolledBack;
}

// Reports the end of a trial that this process has not ended. Returns the exit status.
static int report_end(Fate fate) {
  if (fate == Fate::kBeingRolledBack) return roll_back_trial();
  if (fate == Fate::kConfirmed) {
    std::printf("Kept by another lanfab confirm.\n");
    return 0;
  }
  const auto other = read_state();
  if (other) {
    std::printf("The trial was rolled back, and another one has begun: %s\n", describe(*other).c_str());
  } else {
    std::printf("The old configuration is in force.\n");
  }
  return 1;
}

// Waits a second at most. Whether Enter was pressed; `is_open` tells whether the terminal is still there.
static bool is_enter_pressed(bool& is_open) {
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  if (poll(&input, 1, 1000) <= 0) return false;
  char line[256];
  const ssize_t size = read(STDIN_FILENO, line, sizeof line);
  is_open = size > 0;
  return is_open;
}

static int count_down(const OwnTrial& trial) {
  // What was typed before the new network was there says nothing about it.
  tcflush(STDIN_FILENO, TCIFLUSH);
  for (bool is_open = true; is_open;) {
    const Fate fate = find_fate(trial);
    const std::int64_t left = trial.state.ends - monotonic_seconds();
    if (fate != Fate::kActive || is_interrupted != 0 || left <= 0) {
      std::printf("\n");
      return fate == Fate::kActive ? roll_back_trial() : report_end(fate);
    }
    std::printf("\rEnter keeps it, Ctrl-C goes back at once; it ends in %lld s. ",
                static_cast<long long>(left));
    std::fflush(stdout);
    if (is_enter_pressed(is_open) && confirm({trial.state.id}) == 0) return 0;
  }
  return 0;
}

static void tell_what_to_type(const TrialState& state) {
  std::printf("It is in force for %lld s more. lanfab confirm keeps it, lanfab revert goes back at once.\n",
              static_cast<long long>(std::max<std::int64_t>(state.ends - monotonic_seconds(), 0)));
}

// What is to be seen before it starts. Returns whether it may.
static bool examine_first(const Source& source, bool force) {
  const Summary summary = show_findings(source);
  if (summary.errors > 0 && !force) {
    std::fprintf(stderr, "lanfab: not tried, because of errors; --force tries it nevertheless\n");
    return false;
  }
  if (const auto trouble = show_changes(source)) report(*trouble + "\nWhat it would change is not known.");
  return true;
}

// Finds the installed configuration, which the trial may end with, and whether it could be replaced. Returns
// nothing, or why there can be no trial.
static std::optional<std::string> find_trial_ground(InstalledFile& installed) {
  const bool is_missing = access(kInstalledConfiguration, F_OK) != 0 && errno == ENOENT;
  if (const auto trouble = find_installed(installed))
    return *trouble + (is_missing ? ": there is no configuration to go back to" : "");
  if (auto trouble = why_not_replaceable(installed)) return trouble;
  std::string trouble;
  if (complete_installation(installed, trouble) == Installation::kFailed) return trouble;
  return std::nullopt;
}

// Nothing of this process has to survive: while the trial's file is in /run/lanfab, it is the active
// configuration, and a timer of systemd removes it. These are the steps; killed after any of them, the old
// network is untouched or the timer runs.
//
//   1. The trial's file and its state are written: nothing reads them yet.
//   2. The timer starts: it finds nothing to take back but files.
//   3. The file is renamed: runs of cmd_lanfab read it from now on.
//   4. A service of systemd applies it: a failure starts what the timer would start.
//
// On a terminal it then counts down and takes Enter to confirm or Ctrl-C to revert; elsewhere it returns.
// Returns the exit status: 0 when it was confirmed or goes on, 1 when `lanfab check` finds an error or the
// trial was taken back, 2 when it cannot be done.
static int try_on_gateway(const TryOptions& options) {
  Source source;
  if (const auto trouble = load_source(options.file, source)) return fail(trouble->message);
  if (!examine_first(source, options.force)) return 1;
  const auto program = find_program();
  if (!program) return fail("lanfab: cmd_lanfab is not installed");
  if (const auto trouble = enter_system()) return fail(*trouble);
  OwnTrial trial;
  trial.content = source.text;
  if (const auto trouble = find_trial_ground(trial.installed)) return fail(*trouble);
  wait_for_links();
  std::signal(SIGINT, note_interrupt);
  const std::int64_t now = monotonic_seconds();
  trial.state = {caller(),
                 source.name,
                 now,
                 now + options.seconds,
                 new_trial_id(),
                 trial.installed.path,
                 trial.installed.entry};
  if (const auto trouble = begin(trial.content, trial.installed, trial.state)) return fail(*trouble);
  std::printf("Applying %s; unless it is kept, it ends in %lld s ...\n", printable(source.name).c_str(),
              static_cast<long long>(options.seconds));
  std::fflush(stdout);
  const bool is_applied = is_interrupted == 0 && apply_in_service(*program, OnFailure::kRevert);
  if (!is_applied && is_interrupted == 0)
    std::fprintf(stderr, "lanfab: its APPLY has failed or was stopped: journalctl --unit=%s\n", kApplyUnit);
  // It may have ended meanwhile: the APPLY may wait long for another run.
  const Fate fate = find_fate(trial);
  if (fate != Fate::kActive) return report_end(fate);
  if (!is_applied || is_interrupted != 0) return roll_back_trial();
  if (is_interactive()) return count_down(trial);
  tell_what_to_type(trial.state);
  return 0;
}

Command try_command() {
  static TryOptions options;
  Option file = file_option(options.file);
  file.presence = Presence::kRequired;
  return {"try",
          "Put a configuration in force until it is confirmed",
          {file,
           {"--timeout SECONDS", "seconds after which the old one comes back",
            Number{&options.seconds, 10, 86400}},
           {"--force", "try it even with errors that lanfab check finds", &options.force}},
          "Without lanfab confirm in time, the old configuration comes back, whatever became of this\n"
          "terminal. A reboot brings it back, too.\n\n"
          "Example: lanfab try network.json --timeout 300",
          [] { return try_on_gateway(options); }};
}

// `lanfab try`: applies a configuration, and rolls back unless it is confirmed in time.

#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <optional>

#include "cli/base/file.h"
#include "cli/base/signals.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/check.h"
#include "cli/commands/commands.h"
#include "cli/commands/diff.h"
#include "cli/commands/revert.h"
#include "cli/config_file/source.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/installed_file.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"

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

// What a trial that was killed before its timer started has left.
static bool is_over(const std::string& installed) {
  return !is_trial_active(installed) && !is_running(kRevertTimer) && !is_running(kRevertUnit);
}

// With the owner and mode of the file that it covers, whose readers it gets.
static bool write_trial_file(const std::string& content, const std::string& installed) {
  struct stat like {};
  if (stat(installed.c_str(), &like) != 0) return false;
  return write_file({kTrialFile, like.st_mode & 07777, content}) &&
         chown(kTrialFile, like.st_uid, like.st_gid) == 0 && chmod(kTrialFile, like.st_mode & 07777) == 0;
}

// Steps 1 to 3, which Ctrl-C does not interrupt. Returns nothing, or why there is no trial; nothing of it is
// left then.
static std::optional<std::string> begin(const std::string& content, const std::string& installed,
                                        const TrialState& state) {
  const BlockedSignals signals{SIGINT, SIGQUIT, SIGTSTP, SIGHUP, SIGTERM};
  const ExclusiveLock lock(kStateDirectory);
  if (!lock.is_held()) return with_errno(kStateDirectory);
  const auto present = read_state();
  if (present && !is_over(installed)) return "lanfab: a trial is under way: " + describe(*present);
  if (is_trial_active(installed)) return "lanfab: a trial is under way: lanfab revert ends it";
  if (is_running(kRevertUnit)) return "lanfab: a trial is being taken back";
  // That of one whose `lanfab confirm` was killed at its end.
  if (!stop_revert_timer()) return std::string("lanfab: ") + kRevertTimer + " cannot be stopped";
  std::optional<std::string> trouble;
  if (!write_trial_file(content, installed) || !write_state(state)) {
    trouble = with_errno(kStateDirectory);
  } else if (!start_revert_timer(state.ends - state.began)) {
    trouble = "lanfab: the timer that takes the trial back cannot be started";
  } else if (!activate_trial(installed)) {
    trouble = with_errno(installed);
  }
  if (!trouble) return std::nullopt;
  // What fails here, the timer tries again.
  if (!deactivate_trial(installed)) return *trouble + "; " + with_errno(installed);
  if (const auto error = remove_trial()) *trouble += "; " + *error;
  return trouble;
}

static int roll_back_trial(const std::string& installed) {
  const int status = end_trial(installed);
  return status == 0 ? 1 : status;
}

// The trial has ended without this process: by another terminal or by the timer.
static int tell_end(const std::string& installed, const std::string& content) {
  File file;
  const bool is_kept = read_file(installed, file) && file.content == content;
  std::printf("\n%s\n", is_kept ? "Kept by another lanfab confirm." : "The old configuration is back.");
  return is_kept ? 0 : 1;
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

static int count_down(const TrialState& state, const std::string& installed, const std::string& content) {
  // What was typed before the new network was there says nothing about it.
  tcflush(STDIN_FILENO, TCIFLUSH);
  const std::string lanfab = own_program();
  for (bool is_open = true; is_open;) {
    if (!read_state()) return tell_end(installed, content);
    const std::int64_t left = state.ends - monotonic_seconds();
    if (is_interrupted != 0 || left <= 0) {
      std::printf("\n");
      return roll_back_trial(installed);
    }
    std::printf("\rEnter keeps it, Ctrl-C goes back at once; it ends in %lld s. ",
                static_cast<long long>(left));
    std::fflush(stdout);
    // A process of its own: it leaves the common view of the file system.
    if (is_enter_pressed(is_open) && succeeds({"lanfab", "confirm"}, lanfab)) return 0;
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

// Nothing of this process has to survive: the trial's file lies below /run, bound over the installed one, and
// a timer of systemd takes it back. These are the steps; killed after any of them, the old network is
// untouched or the timer runs.
//
//   1. The trial's file and its state are written: nothing reads them yet.
//   2. The timer starts: it finds nothing to take back but files.
//   3. The file is put over the installed one: runs of cmd_lanfab see it from now on.
//   4. A service of systemd applies it: a failure starts what the timer would start.
//
// On a terminal it then counts down and takes Enter to confirm or Ctrl-C to revert; elsewhere it returns.
// Returns the exit status: 0 when it was confirmed or goes on, 1 when `lanfab check` finds an error or the
// trial was taken back, 2 when it cannot be done.
static int try_on_gateway(const TryOptions& options) {
  Source source;
  if (const auto trouble = load_source(options.file, source)) return fail(*trouble);
  if (!examine_first(source, options.force)) return 1;
  const auto program = find_program();
  if (!program) return fail("lanfab: cmd_lanfab is not installed");
  if (const auto trouble = enter_system()) return fail(*trouble);
  const auto installed = installed_path();
  if (!installed) {
    return fail(with_errno(kInstalledConfiguration) + ": there is no configuration to go back to");
  }
  std::signal(SIGINT, note_interrupt);
  const std::int64_t now = monotonic_seconds();
  const TrialState state = {caller(), source.name, now, now + options.seconds};
  if (const auto trouble = begin(source.text, *installed, state)) return fail(*trouble);
  std::printf("Applying %s; unless it is kept, it ends in %lld s ...\n", printable(source.name).c_str(),
              static_cast<long long>(options.seconds));
  std::fflush(stdout);
  const bool is_applied = is_interrupted == 0 && apply_in_service(*program, OnFailure::kRevert);
  if (is_interrupted != 0) return roll_back_trial(*installed);
  if (!is_applied) {
    std::fprintf(stderr, "lanfab: its APPLY has failed: journalctl --unit=%s\n", kApplyUnit);
    return roll_back_trial(*installed);
  }
  if (is_interactive()) return count_down(state, *installed, source.text);
  tell_what_to_type(state);
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

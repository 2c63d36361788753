#include "cli/commands/try.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>
#include <utility>

#include "cli/base/file.h"
#include "cli/base/sha256.h"
#include "cli/base/signals.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/check.h"
#include "cli/commands/commands.h"
#include "cli/commands/confirm.h"
#include "cli/commands/diff.h"
#include "cli/commands/revert.h"
#include "cli/commands/verification.h"
#include "cli/config_file/source.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/applied.h"
#include "cli/live/guard.h"
#include "cli/live/installed_file.h"
#include "cli/live/outcome.h"
#include "cli/live/programs.h"
#include "cli/live/reserve.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"
#include "cli/restore/restore.h"
#include "libcmd/text_policy.h"

constexpr char kRevertFails[] =
    "the rollback service does not work, perhaps because of a drop-in of lanfab.service; see 'journalctl -u "
    "lanfab-revert-test'";

// Time limit of a permanent apply, in seconds: enough for the longest APPLY.
constexpr std::int64_t kApplySeconds = 300;

// Maximum time for the gateway to match the configuration on trial, in seconds.
constexpr std::int64_t kVerifySeconds = 30;

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
  bool force = false;               // apply even if `lanfab check` finds errors
  bool unverified = false;          // do not roll back because of drift
  std::vector<std::string> probes;  // commands that must succeed
  bool confirm_after_probes = false;
};

}  // namespace

namespace {

// The trial of this process.
struct OwnTrial {
  TrialState state;
  std::string content;
  InstalledFile installed;
  Applied target;        // configuration that a rollback applies
  ObservedDrift before;  // drift before the trial
};

}  // namespace

// Checks that no trial and no rollback is in progress. Returns nothing if a trial can begin; otherwise an
// error message.
static std::optional<std::string> find_obstacle() {
  bool has_timer = false;
  bool is_reverting = false;
  if (auto error = query_unit(kRevertTimer, has_timer)) return error;
  if (auto error = query_unit(kRevertUnit, is_reverting)) return error;
  const auto present = read_state();
  // A state alone is not a trial: its `lanfab try` was killed before the timer started.
  if (present && (is_trial_active() || has_timer || is_reverting))
    return "lanfab: a trial is in progress: " + describe(*present);
  if (is_trial_active()) return "lanfab: a trial is in progress; run 'lanfab revert' to end it";
  if (is_reverting) return "lanfab: a rollback is in progress";
  return std::nullopt;
}

// Copies the programs and reserves the space that a rollback needs. Returns nothing on success; otherwise
// an error message.
static std::optional<std::string> prepare_rollback(const std::string& program) {
  if (auto error = copy_programs(program)) return error;
  if (!reserve_space()) return with_errno(kTrialDirectory) + ": no room for a rollback";
  return std::nullopt;
}

// Steps 1 to 3 of start_trial(), which signals such as Ctrl-C do not interrupt. Returns nothing on success;
// otherwise an error message, after cleaning up the trial.
static std::optional<std::string> begin(const std::string& program, const OwnTrial& trial) {
  const BlockedSignals signals{SIGINT, SIGQUIT, SIGTSTP, SIGHUP, SIGTERM};
  const ExclusiveLock lock(kTrialDirectory);
  if (!lock.is_held()) return lock.error();
  if (auto obstacle = find_obstacle()) return obstacle;
  // A trial whose `lanfab confirm` was killed at its end may have left these.
  if (!stop_revert_timer()) return std::string("lanfab: ") + kRevertTimer + " cannot be stopped";
  if (!end_guard()) return std::string("lanfab: ") + kGuardUnit + " cannot be stopped";
  if (!remove_state()) return with_errno(kTrialDirectory);
  record_kernel();
  std::optional<std::string> error = prepare_rollback(program);
  const bool is_staged =
      !error && stage_target(trial.target.text) && stage_trial(trial.content, trial.installed.path);
  // Tests the service before writing the state: without a state, the service has nothing to do.
  if (error) {
    // The preparation failed: nothing has begun.
  } else if (is_staged && !test_revert_service()) {
    error = std::string("lanfab: ") + kRevertFails;
  } else if (!is_staged || !write_state(trial.state)) {
    error = with_errno(kTrialDirectory);
  } else if (!start_revert_timer(trial.state.ends - trial.state.began)) {
    error = "lanfab: the timer that rolls the trial back cannot be started";
  } else if (!start_guard()) {
    error = "lanfab: the guard of the trial cannot be started";
  } else if (!activate_trial()) {
    error = with_errno(kTrialConfiguration);
  }
  if (!error) {
    forget_outcome();
    return std::nullopt;
  }
  // If this fails, the timer retries it.
  if (!deactivate_trial()) return *error + "; " + with_errno(kTrialConfiguration);
  if (const auto cleanup_error = remove_trial()) *error += "; " + *cleanup_error;
  return error;
}

static int roll_back_trial(const std::string& reason = "") {
  const int status = end_trial(reason);
  return status == 0 ? 1 : status;
}

namespace {

// State of a trial, which another terminal or the timer may have ended.
enum class Fate { kActive, kConfirmed, kBeingRolledBack, kOver };

}  // namespace

static bool is_state_of(const OwnTrial& trial) {
  const auto state = read_state();
  return state && state->id == trial.state.id;
}

static Fate find_fate(const OwnTrial& trial) {
  if (is_state_of(trial) && is_trial_active()) return Fate::kActive;
  // Waits for the end of a confirmation in progress, then reads everything again.
  const ExclusiveLock lock(kTrialDirectory);
  if (is_state_of(trial)) return is_trial_active() ? Fate::kActive : Fate::kBeingRolledBack;
  // The state was removed: the trial can only be rolled back.
  if (!read_state() && is_trial_active()) return Fate::kBeingRolledBack;
  const auto outcome = read_outcome();
  const bool is_confirmed =
      outcome && outcome->trial == trial.state.id && outcome->ending == Ending::kConfirmed;
  return is_confirmed ? Fate::kConfirmed : Fate::kOver;
}

// Reports the end of a trial that another process has ended, or completes its rollback. Returns the exit
// status.
static int report_end(const OwnTrial& trial, Fate fate) {
  if (fate == Fate::kBeingRolledBack) return roll_back_trial();
  if (fate == Fate::kConfirmed) {
    std::printf("Confirmed by another 'lanfab confirm'.\n");
    return 0;
  }
  if (const auto other = read_state()) {
    std::printf("The trial was rolled back, and another one has begun: %s\n", describe(*other).c_str());
    return 1;
  }
  const int status = report_end_of_trial(trial.state.id, trial.target.sha256);
  return status == 0 ? 1 : status;
}

namespace {

enum class Answer { kNone, kConfirm, kRollBack };

// Reads answers from the terminal, one per line.
class Terminal {
 public:
  // Waits for at most one second. Only a complete line counts: Ctrl-D sends a partial line, or none.
  Answer wait() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, 1000) <= 0) return Answer::kNone;
    char block[256];
    const ssize_t size = read(STDIN_FILENO, block, sizeof block);
    is_open_ = size > 0 || (size == 0 && (input.revents & POLLHUP) == 0);
    if (size <= 0) return Answer::kNone;
    line_.append(block, static_cast<std::size_t>(size));
    if (line_.back() != '\n') return Answer::kNone;
    const std::string line = std::exchange(line_, "");
    if (line == "y\n" || line == "Y\n") return Answer::kConfirm;
    return line == "n\n" || line == "N\n" ? Answer::kRollBack : Answer::kNone;
  }

  // Whether more input may come.
  bool is_open() const {
    return is_open_;
  }

 private:
  std::string line_;
  bool is_open_ = true;
};

}  // namespace

static int count_down(const OwnTrial& trial) {
  // Discard keys typed before the new network was up.
  tcflush(STDIN_FILENO, TCIFLUSH);
  Terminal terminal;
  Answer answer = Answer::kNone;
  while (terminal.is_open()) {
    const Fate fate = find_fate(trial);
    const std::int64_t left = trial.state.ends - monotonic_seconds();
    const bool is_ended = is_interrupted != 0 || left <= 0 || answer == Answer::kRollBack;
    if (fate != Fate::kActive || is_ended) {
      std::printf("\n");
      return fate == Fate::kActive ? roll_back_trial(left <= 0 ? kNotConfirmedInTime : "")
                                   : report_end(trial, fate);
    }
    if (answer == Answer::kConfirm && confirm({trial.state.id}) == 0) return 0;
    // Fits into a line of 80 columns.
    std::printf("\rKeep this configuration? [y/n] Rolling back in %lld s (n or Ctrl-C: now). ",
                static_cast<long long>(left));
    std::fflush(stdout);
    answer = terminal.wait();
  }
  return 0;
}

static void print_next_steps(const TrialState& state) {
  std::printf(
      "Applied. Run 'lanfab confirm' within %lld s to keep it, or 'lanfab revert' to roll back now.\n",
      static_cast<long long>(std::max<std::int64_t>(state.ends - monotonic_seconds(), 0)));
}

// Shows the findings and the changes before the trial starts. Returns whether it may start.
static bool examine_first(const Source& source, bool force) {
  const Summary summary = show_findings(source);
  if (summary.errors > 0 && !force) {
    std::fprintf(stderr, "lanfab: not applied: the configuration has errors (use --force to override)\n");
    return false;
  }
  if (const auto error = show_changes(source)) report(*error + "\nCould not determine what would change.");
  return true;
}

// Finds the installed configuration, and checks that a confirmation could replace it. Completes an
// interrupted installation. Returns nothing on success; otherwise an error message.
static std::optional<std::string> find_replaceable(InstalledFile& installed) {
  const bool is_missing = access(kInstalledConfiguration, F_OK) != 0 && errno == ENOENT;
  if (const auto error = find_installed(installed))
    return *error + (is_missing ? ": there is no configuration to roll back to" : "");
  if (auto error = why_not_replaceable(installed)) return error;
  std::string error;
  if (complete_installation(installed, error) == Installation::kFailed) return error;
  return std::nullopt;
}

// Error message if a run would refuse the text; otherwise nothing.
static std::optional<std::string> find_refusal(const std::string& text) {
  Source source;
  source.name = "what was applied";
  source.text = text;
  if (const auto failure = parse_source(source)) return failure->message;
  const auto refused = find_refused_texts(source.root);
  if (refused.empty()) return std::nullopt;
  return source.name + ": " + refused.front().path + ": " + refused.front().reason;
}

// Finds the configuration that a rollback applies. Returns nothing on success; otherwise the error, which
// prevents the trial even with --force.
static std::optional<std::string> find_target(const OwnTrial& trial, bool is_installed_tried,
                                              Applied& target) {
  if (const auto error = read_applied(target))
    return *error + ", so there is nothing to roll back to; 'cmd_lanfab apply' applies " +
           trial.installed.path;
  if (is_installed_tried && target.text != trial.content)
    return trial.installed.path +
           " is the installed configuration, but was changed since it was applied: "
           "apply a copy of it, and restore the old content";
  if (const auto refusal = find_refusal(target.text)) return "there is nothing to roll back to: " + *refusal;
  return std::nullopt;
}

// Starts a trial that does not depend on this process: while the trial's file is in /run/lanfab, it is the
// active configuration, and a systemd timer removes it. If this process is killed after any of these steps,
// either the old network is untouched or the timer is running.
//
//   1. Write the rollback target, the trial's file and its state, which nothing reads yet.
//   2. Start the timer, which would only remove files at this point.
//   3. Rename the trial's file: runs of cmd_lanfab read it from now on.
//   4. Apply it in a systemd service: a failure starts the rollback service, as the timer would.
//
// Returns nothing when the trial is active; otherwise the exit status: 0 when another process has confirmed
// the trial; 1 when `lanfab check` finds an error, there is nothing to roll back to, or the trial was
// rolled back; 2 on any other failure.
static std::optional<int> start_trial(const Source& source, const TryOptions& options, OwnTrial& trial) {
  if (const auto error = check_rights()) return fail(*error);
  if (!examine_first(source, options.force)) return 1;
  const auto program = find_program();
  if (!program) return fail("lanfab: cmd_lanfab is not installed");
  // Before enter_system(), after which the path may lead to another file.
  const bool is_installed_tried = is_same_file(options.file, kInstalledConfiguration);
  if (const auto error = enter_system()) return fail(*error);
  trial.content = source.text;
  if (const auto error = find_replaceable(trial.installed)) return fail(*error);
  if (const auto error = find_target(trial, is_installed_tried, trial.target)) {
    report("lanfab: not applied: " + *error);
    return 1;
  }
  wait_for_links();
  if (!options.unverified) trial.before = observe_drift();
  std::signal(SIGINT, note_interrupt);
  const std::int64_t now = monotonic_seconds();
  trial.state = {caller(),
                 source.name,
                 now,
                 now + options.seconds,
                 new_trial_id(),
                 trial.installed.path,
                 trial.installed.entry,
                 sha256(trial.content)};
  if (const auto error = begin(*program, trial)) return fail(*error);
  std::printf("Applying %s; rolling back in %lld s unless confirmed...\n", printable(source.name).c_str(),
              static_cast<long long>(options.seconds));
  std::fflush(stdout);
  // The record of the applied configuration is more reliable than the result of the service.
  const bool is_active = is_interrupted == 0 && apply_in_service() && is_applied(trial.state.sha256);
  if (!is_active && is_interrupted == 0)
    std::fprintf(stderr, "lanfab: apply failed or was stopped; see 'journalctl -u %s'\n", kApplyUnit);
  // The trial may have ended meanwhile: the APPLY may wait for another run for a long time.
  const Fate fate = find_fate(trial);
  if (fate != Fate::kActive) return report_end(trial, fate);
  if (is_interrupted != 0) return roll_back_trial();
  if (!is_active) return roll_back_trial(kNotApplied);
  return std::nullopt;
}

// Rolls the trial back for this reason, or on behalf of the caller if it was interrupted; if the trial is
// already over, reports its end. Returns the exit status.
static int give_up(const OwnTrial& trial, const std::string& reason) {
  const Fate fate = find_fate(trial);
  if (fate != Fate::kActive) return report_end(trial, fate);
  return roll_back_trial(is_interrupted == 0 ? reason : "");
}

// Waits until the gateway matches the configuration on trial and the probes succeed. Returns nothing on
// success; otherwise rolls the trial back and returns the exit status.
static std::optional<int> verify(const TryOptions& options, const OwnTrial& trial) {
  const IsActive goes_on = [&trial] { return is_interrupted == 0 && find_fate(trial) == Fate::kActive; };
  // Ends before the timer starts the rollback.
  const std::int64_t end = trial.state.ends - 1;
  if (!options.unverified) {
    const auto found =
        wait_until_as_configured(trial.before, std::min(monotonic_seconds() + kVerifySeconds, end), goes_on);
    for (const Drift& one : found)
      report("lanfab: " + one.subject + ": " + one.what);
    if (!found.empty() || !goes_on()) return give_up(trial, "since lanfab status found a new difference");
  }
  if (const auto probe = find_failing_probe(options.probes, end, goes_on)) {
    if (goes_on()) report("lanfab: the probe has failed: " + *probe);
    return give_up(trial, "since a probe failed");
  }
  return std::nullopt;
}

// Runs a trial. On a terminal, counts down until it is confirmed or rolled back; elsewhere, returns while
// it is active. Returns the exit status.
static int try_on_gateway(const Source& source, const TryOptions& options) {
  OwnTrial trial;
  if (const auto status = start_trial(source, options, trial)) return *status;
  if (const auto status = verify(options, trial)) return *status;
  if (options.confirm_after_probes) return confirm({trial.state.id});
  if (is_interactive()) return count_down(trial);
  print_next_steps(trial.state);
  return 0;
}

static int try_file(const TryOptions& options) {
  if (options.confirm_after_probes && options.probes.empty())
    return fail("lanfab: --confirm-after-probe requires --probe");
  Source source;
  if (const auto error = load_source(options.file, source)) return fail(error->message);
  return try_on_gateway(source, options);
}

int try_configuration(const Source& source) {
  return try_on_gateway(source, {});
}

int apply_permanently(const std::string& file) {
  Source source;
  if (const auto error = load_source(file, source)) return fail(error->message);
  TryOptions options;
  options.file = file;
  options.seconds = kApplySeconds;
  OwnTrial trial;
  if (const auto status = start_trial(source, options, trial)) return *status;
  if (const auto status = verify(options, trial)) return *status;
  const int status = confirm({trial.state.id});
  if (status == 0 || find_fate(trial) != Fate::kActive) return status;
  return std::max(status, roll_back_trial("since it could not be installed"));
}

Command try_command() {
  static TryOptions options;
  Option file = file_option(options.file);
  file.presence = Presence::kRequired;
  return {
      "try",
      "Apply a configuration; roll back unless it is confirmed in time",
      {file,
       {"--timeout SECONDS", "roll back after this many seconds", Number{&options.seconds, 10, 86400}},
       {"--force", "apply it even if it has errors", &options.force},
       {"--no-verify", "do not roll back because of what 'lanfab status' finds", &options.unverified},
       {"--probe COMMAND", "roll back unless this shell command succeeds in time", &options.probes},
       {"--confirm-after-probe", "confirm it once every probe has succeeded", &options.confirm_after_probes}},
      "Unless 'lanfab confirm' is run in time, the previous configuration is restored, even if this\n"
      "terminal is lost or the machine reboots.\n\n"
      "Example: lanfab try network.json --timeout 300",
      [] { return try_file(options); }};
}

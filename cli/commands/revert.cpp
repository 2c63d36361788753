#include "cli/commands/revert.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "cli/base/file.h"
#include "cli/base/sha256.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/commands/roll_back.h"
#include "cli/commands/try.h"
#include "cli/history/history.h"
#include "cli/live/applied.h"
#include "cli/live/guard.h"
#include "cli/live/installed_file.h"
#include "cli/live/outcome.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"

namespace {

struct RevertOptions {
  std::string entry;      // number of a history entry to apply as a trial
  bool yes = false;       // apply the previous configuration without a prompt
  bool by_timer = false;  // run by the rollback service
  bool as_guard = false;  // run by the guard service
};

}  // namespace

int report_end_of_trial(const std::string& id, const std::string& target) {
  const auto outcome = read_outcome();
  const bool is_known = outcome && (id.empty() || outcome->trial == id);
  if (is_known && outcome->ending == Ending::kConfirmed) {
    std::printf(
        "The trial had been confirmed. Run 'lanfab revert' again to apply the previous configuration.\n");
    return 1;
  }
  // Check which configuration was applied: the recorded outcome alone is not enough.
  const std::string& old = is_known && !outcome->active.empty() ? outcome->active : target;
  if (old.empty() || !is_applied(old))
    return fail(
        "lanfab: the trial is over, but the previous configuration may not be active: run 'lanfab status'");
  std::printf("The previous configuration is active.\n");
  if (is_known && !outcome->note.empty()) std::printf("%s\n", printable(outcome->note).c_str());
  return 0;
}

int end_trial(const std::string& reason) {
  const auto state = read_state();
  File target;
  const bool has_target = read_file(kTarget, target);
  // This trial may have ended, and another one may have begun.
  const auto is_under_way = [&state] {
    const auto now = read_state();
    return now && state ? now->id == state->id : is_trial_left();
  };
  if (is_under_way()) {
    std::printf("Rolling back...\n");
    std::fflush(stdout);
    request_rollback(reason.empty() ? "by " + caller() : reason);
    roll_back_now();
  }
  if (is_under_way()) {
    return fail("lanfab: the previous configuration is not active yet; see 'journalctl -u " +
                std::string(kRevertUnit) + "'");
  }
  return report_end_of_trial(state ? state->id : "", has_target ? sha256(target.content) : "");
}

static bool is_wanted(const std::string& previous) {
  if (!is_interactive()) {
    std::printf("No trial is in progress. Run 'lanfab revert --yes' to apply %s.\n",
                printable(previous).c_str());
    return false;
  }
  std::printf("No trial is in progress. Apply %s? [y/N] ", printable(previous).c_str());
  std::fflush(stdout);
  char answer[8] = "";
  return std::fgets(answer, sizeof answer, stdin) != nullptr && (answer[0] == 'y' || answer[0] == 'Y');
}

static int restore_previous(bool is_agreed) {
  InstalledFile installed;
  if (const auto error = find_installed(installed)) return fail(*error);
  // Completing an interrupted installation may change the previous configuration.
  std::string error;
  complete_installation(installed, error);
  const std::string previous = installed.entry + kPreviousSuffix;
  struct stat status {};
  if (stat(previous.c_str(), &status) != 0) {
    if (errno != ENOENT) return fail(with_errno(previous));
    std::printf("No trial is in progress, and there is no previous configuration.\n");
    return 1;
  }
  if (!is_agreed && !is_wanted(previous)) return 1;
  return apply_permanently(previous);
}

static int try_entry(const std::string& number) {
  Source source;
  if (const auto error = load_from_history(number, source)) return fail(*error);
  return try_configuration(source);
}

// Returns the exit status: 0 if the previous configuration is active, 1 if it is not or does not exist, 2 on
// any other failure.
static int revert(const RevertOptions& options) {
  if (!options.entry.empty()) return try_entry(options.entry);
  if (options.by_timer || options.as_guard) {
    if (const auto error = enter_system_as_service()) return fail(*error);
    if (options.by_timer) return roll_back();
    guard_trial(roll_back);
    return 0;
  }
  if (const auto error = enter_system()) return fail(*error);
  return is_trial_left() ? end_trial() : restore_previous(options.yes);
}

Command revert_command() {
  static RevertOptions options;
  Option timer = {"--timer", "for the service that the timer of lanfab try starts", &options.by_timer};
  Option guard = {"--guard", "for the service that watches over a trial", &options.as_guard};
  timer.presence = guard.presence = Presence::kHidden;
  return {"revert",
          "Roll back to the previous configuration",
          {{"NUMBER", "apply this entry of the history as a trial", &options.entry},
           {"--yes", "do not prompt", &options.yes},
           timer,
           guard},
          "Ends the trial immediately. Without a trial, applies network.json.previous, after a prompt.\n\n"
          "Example: lanfab revert --yes",
          [] { return revert(options); }};
}

#include "cli/commands/confirm.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "cli/base/file.h"
#include "cli/base/signals.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/history/history.h"
#include "cli/live/installed_file.h"
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
    std::printf("Kept.\n");
  } else {
    std::printf("Kept. The configuration before it is %s.\n", printable(previous).c_str());
  }
}

// Installs the configuration on trial, unless a `lanfab confirm` that was killed has done so.
static Installation install_trial(const File& trial, const File& current, const InstalledFile& installed,
                                  std::string& trouble) {
  if (current.content == trial.content) return complete_installation(installed, trouble);
  return install(trial.content, installed, trouble);
}

// The timer goes last: killed before, it finds the new file installed, and applies that once more.
static int confirm_trial(const InstalledFile& installed, const ConfirmOptions& options) {
  File trial;
  File current;
  if (!read_file(kTrialConfiguration, trial)) return fail(with_errno(kTrialConfiguration));
  if (!read_file(installed.entry, current)) return fail(with_errno(installed.entry));
  if (current.content != trial.content && is_installed_changed(current.content) && !options.force)
    return refuse_changed(installed.path);
  std::string trouble;
  const Installation installation = install_trial(trial, current, installed, trouble);
  if (installation == Installation::kFailed) return fail(trouble + "; the trial goes on");
  // A rollback does not wait for ever for the lock of this process, which may have been stopped.
  if (!is_trial_active()) {
    return fail(
        "lanfab: installed, but the trial was rolled back meanwhile: 'cmd_lanfab apply' applies it, 'lanfab "
        "revert' restores the previous one");
  }
  std::optional<std::string> error;
  if (!deactivate_trial()) {
    error = with_errno(kTrialConfiguration);
  } else {
    error = remove_trial();
  }
  // Whatever it waits for, the trial does not.
  record_in_history(trial.content, options.comment);
  if (installation == Installation::kPlaced) return fail(trouble + "; kept, but a loss of power may undo it");
  if (error) return fail("lanfab: kept, but what belongs to the trial is still there: " + *error);
  report_previous(installed);
  return 0;
}

// Whether the trial can be confirmed now. Sets the exit status if not.
static bool is_confirmable(int& status) {
  bool is_applying = false;
  bool is_reverting = false;
  for (const auto& [unit, is_running] : {std::pair(kApplyUnit, &is_applying), {kRevertUnit, &is_reverting}}) {
    if (const auto trouble = query_unit(unit, *is_running)) {
      status = fail(*trouble);
      return false;
    }
  }
  if (is_applying) {
    status = refuse("the APPLY of the trial is still at work");
    return false;
  }
  if (is_reverting || !is_trial_active()) {
    status = refuse("the trial is being taken back");
    return false;
  }
  return true;
}

int confirm(const ConfirmOptions& options) {
  if (const auto trouble = enter_system()) return fail(*trouble);
  InstalledFile installed;
  if (const auto trouble = find_installed(installed)) return fail(*trouble);
  // What is left half done would end with the trial.
  const BlockedSignals signals{SIGINT, SIGQUIT, SIGTSTP, SIGHUP, SIGTERM};
  const ExclusiveLock lock(kTrialDirectory);
  if (!lock.is_held()) return fail(lock.error());
  const auto state = read_state();
  if (!state || (!options.trial.empty() && state->id != options.trial))
    return refuse("no trial is under way");
  // A confirmation that was killed may have left the file unmounted.
  if (state->path == installed.path) installed.entry = state->entry;
  int status = 0;
  return is_confirmable(status) ? confirm_trial(installed, options) : status;
}

Command confirm_command() {
  static ConfirmOptions options;
  return {"confirm",
          "Keep the configuration that is tried",
          {{"-m COMMENT", "a comment for 'lanfab history'", &options.comment},
           {"--force", "replace an installed file that has changed since the trial began", &options.force}},
          "The one before it stays beside it as network.json.previous.",
          [] { return confirm(options); }};
}

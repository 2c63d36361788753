// `lanfab confirm`: makes the configuration on trial the installed one.

#include <cstdio>
#include <string>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/live/installed_file.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"
#include "cli/live/units.h"

static int refuse(const char* reason) {
  std::fprintf(stderr, "lanfab: %s\n", reason);
  return 1;
}

// The timer goes last: killed before, it finds the new file installed, and applies that once more.
static int confirm_trial(const std::string& installed) {
  File trial;
  if (!read_file(kTrialFile, trial)) return fail(with_errno(kTrialFile));
  if (!enter_view_without_trial(installed)) return fail(with_errno(installed));
  std::string trouble;
  const Installation installation = install(trial.content, installed, trouble);
  if (installation == Installation::kFailed) return fail(trouble + "; the trial goes on");
  const auto error = remove_trial();
  if (installation == Installation::kPlaced) return fail(trouble + "; kept, but a loss of power may undo it");
  if (error) return fail("lanfab: kept, but what belongs to the trial is still there: " + *error);
  std::printf("Kept. The configuration before it is %s%s.\n", installed.c_str(), kPreviousSuffix);
  return 0;
}

// Makes the configuration on trial the installed one. Returns the exit status: 0 when it is, 1 when there is
// no trial to confirm, 2 when it cannot be done, or is not known to have reached the disk.
static int confirm() {
  if (const auto trouble = enter_system()) return fail(*trouble);
  const auto installed = installed_path();
  if (!installed) return fail(with_errno(kInstalledConfiguration));
  const ExclusiveLock lock(kStateDirectory);
  if (!lock.is_held()) return fail(with_errno(kStateDirectory));
  if (!read_state()) return refuse("no trial is under way");
  if (is_running(kApplyUnit)) return refuse("the APPLY of the trial is still at work");
  if (is_running(kRevertUnit) || !is_trial_active(*installed)) return refuse("the trial is being taken back");
  return confirm_trial(*installed);
}

Command confirm_command() {
  return {"confirm",
          "Keep the configuration that is tried",
          {},
          "The one before it stays beside it as network.json.previous.",
          confirm};
}

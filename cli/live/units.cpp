#include "cli/live/units.h"

#include <grp.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "cli/base/subprocess.h"
#include "cli/live/confinement.h"

using Words = std::vector<std::string>;

constexpr char kStopLimit[] = "--property=TimeoutStopSec=10";
constexpr std::int64_t kNever = 86400;
// Of such a service an apply that somebody stops has failed; of others it would have succeeded.
constexpr char kOneshot[] = "--property=Type=oneshot";

// What a rollback needs beyond a run: wall(1) writes to the terminals of everybody, serial ones included. Its
// messages have its own name.
constexpr const char* kRevertNeeds[] = {
    "--property=PrivateDevices=no",       "--property=DevicePolicy=closed",
    "--property=DeviceAllow=char-pts w",  "--property=DeviceAllow=char-tty* w",
    "--property=DeviceAllow=char-hvc* w", "--property=SyslogIdentifier=lanfab",
};
// The group that may write to terminals. systemd starts no service with a group that is missing.
constexpr char kTerminalGroup[] = "tty";

constexpr const char* kRunningStates[] = {"active",       "reloading",   "activating",
                                          "deactivating", "maintenance", "refreshing"};

std::optional<std::string> query_unit(const char* unit, bool& is_running) {
  is_running = true;
  std::string state;
  if (auto error = capture({"systemctl", "show", "--property=ActiveState", "--value", unit}, state))
    return "lanfab: " + *error;
  // Any other word would be taken for a trial: `systemctl` may be another program than systemd's.
  const auto is = [&state](const char* name) { return state == std::string(name) + "\n"; };
  is_running = !is("inactive") && !is("failed");
  if (!is_running || std::any_of(std::begin(kRunningStates), std::end(kRunningStates), is))
    return std::nullopt;
  return std::string("lanfab: 'systemctl show ") + unit + "' does not print the state of the unit";
}

static bool may_run(const char* unit) {
  bool is_running = false;
  query_unit(unit, is_running);
  return is_running;
}

// Runs a command in a service of systemd, with the confinement of lanfab.service. Returns whether it
// succeeded.
static bool run_in_service(const Words& options, const Words& command) {
  Words words = {"systemd-run", "--quiet", "--collect"};
  for (const Words& more : {lanfab_service_options(), {kOneshot}, options, command})
    words.insert(words.end(), more.begin(), more.end());
  return succeeds(words);
}

// Runs what rolls back a trial.
static bool run_revert(Words options) {
  const std::string program = own_program();
  options.insert(options.end(), std::begin(kRevertNeeds), std::end(kRevertNeeds));
  if (getgrnam(kTerminalGroup) != nullptr)
    options.push_back(std::string("--property=SupplementaryGroups=") + kTerminalGroup);
  return !program.empty() && run_in_service(options, {program, "revert", "--timer"});
}

// The units go when they have ended, however they ended: their names are free for the next trial, and the
// journal keeps what they said. Only a kill starts the revert anew, since it tries again by itself.
bool start_revert_timer(std::int64_t seconds) {
  const std::string when = "--on-active=" + std::to_string(seconds) + "s";
  return run_revert({"--unit=lanfab-revert", "--description=Way back from a network configuration on trial",
                     when, "--timer-property=AccuracySec=1s", "--property=Restart=on-abnormal",
                     "--property=RestartSec=5"});
}

bool test_revert_service() {
  return run_revert({"--unit=lanfab-revert-test", "--description=Test of the rollback of a trial", "--wait"});
}

bool stop_revert_timer() {
  return !may_run(kRevertTimer) || succeeds({"systemctl", "stop", kRevertTimer});
}

bool roll_back_now() {
  // Without its timer, which somebody has stopped, the service is unknown. One that never comes makes it
  // known.
  if (!may_run(kRevertTimer) && !may_run(kRevertUnit) && !start_revert_timer(kNever)) return false;
  return succeeds({"systemctl", "start", kRevertUnit});
}

bool apply_in_service(const std::string& program) {
  return run_in_service({"--wait", "--unit=lanfab-apply", "--description=Apply of a network configuration",
                         "--property=OnFailure=lanfab-revert.service", kStopLimit},
                        {own_program(), "record", "apply", program});
}

void stop_apply() {
  if (may_run(kApplyUnit)) succeeds({"systemctl", "stop", kApplyUnit});
}

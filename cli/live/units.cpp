#include "cli/live/units.h"

#include <grp.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "cli/base/subprocess.h"
#include "cli/live/confinement.h"
#include "cli/live/programs.h"

using Words = std::vector<std::string>;

constexpr int kQueryLimit = 2;
// Longer than the services take to stop.
constexpr int kStopLimit = 20;
constexpr char kServiceStopLimit[] = "--property=TimeoutStopSec=10";
// Of an attempt to roll back: longer than all that it waits for.
constexpr char kAttemptLimit[] = "--property=TimeoutStartSec=300";
constexpr std::int64_t kNever = 86400;
// Of such a service an apply that somebody stops has failed; of others it would have succeeded.
constexpr char kOneshot[] = "--property=Type=oneshot";

// What keeps a unit of a trial when another target is isolated, emergency.target included.
constexpr const char* kLasting[] = {"IgnoreOnIsolate=yes", "DefaultDependencies=no",
                                    "Conflicts=shutdown.target", "Before=shutdown.target"};

// The first version of systemd whose restarts can come more and more rarely.
constexpr int kVersionWithSteps = 254;

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
  if (auto error =
          capture({"systemctl", "show", "--property=ActiveState", "--value", unit}, state, kQueryLimit))
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

static void append(Words& words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
}

// The options of systemd-run that make a unit last. `option` is "property" or "timer-property".
static Words lasting(const std::string& option) {
  Words words;
  for (const char* property : kLasting)
    words.push_back("--" + option + "=" + property);
  return words;
}

// Runs a command in a service of systemd, with the confinement of lanfab.service. Returns whether it
// succeeded.
static bool run_in_service(const Words& options, const Words& command) {
  Words words = {"systemd-run", "--quiet", "--collect"};
  for (const Words& more : {lanfab_service_options(), lasting("property"), options, command})
    append(words, more);
  return succeeds(words);
}

// Runs what rolls back a trial.
static bool run_revert(Words options, const std::string& option) {
  options.insert(options.end(), std::begin(kRevertNeeds), std::end(kRevertNeeds));
  if (getgrnam(kTerminalGroup) != nullptr)
    options.push_back(std::string("--property=SupplementaryGroups=") + kTerminalGroup);
  return run_in_service(options, revert_command_line(option));
}

// 0 if it is not known.
static int systemd_version() {
  constexpr char kName[] = "systemd ";
  std::string version;
  if (capture({"systemctl", "--version"}, version, kQueryLimit) || version.rfind(kName, 0) != 0) return 0;
  return static_cast<int>(std::strtol(version.c_str() + std::strlen(kName), nullptr, 10));
}

// Whatever fails, the rollback is tried again: after 5 s and, where systemd can do so, after 60 s in the end.
static Words endless_restarts() {
  Words words = {"--property=Restart=on-failure", "--property=RestartSec=5",
                 "--property=StartLimitIntervalSec=0"};
  if (systemd_version() >= kVersionWithSteps)
    append(words, {"--property=RestartSteps=5", "--property=RestartMaxDelaySec=60"});
  return words;
}

// The units go when they have ended, however they ended: their names are free for the next trial, and the
// journal keeps what they said.
bool start_revert_timer(std::int64_t seconds) {
  Words options = {"--unit=lanfab-revert",
                   "--description=Rollback of a network configuration on trial",
                   "--on-active=" + std::to_string(seconds) + "s",
                   "--timer-property=AccuracySec=1s",
                   kOneshot,
                   kAttemptLimit,
                   kServiceStopLimit};
  append(options, lasting("timer-property"));
  append(options, endless_restarts());
  return run_revert(options, "--timer");
}

bool test_revert_service() {
  return run_revert({"--unit=lanfab-revert-test", "--description=Test of the rollback of a trial", kOneshot,
                     kAttemptLimit, "--wait"},
                    "--timer");
}

static bool stop(const char* unit) {
  return !may_run(unit) || succeeds_within(kStopLimit, {"systemctl", "stop", unit});
}

bool stop_revert_timer() {
  return stop(kRevertTimer);
}

// Only its end with status 0 is one: whoever kills it starts it again.
bool start_guard() {
  return run_revert(
      {"--unit=lanfab-guard", "--description=Guard of a network configuration on trial",
       "--property=Type=exec", "--property=Restart=always", "--property=RestartSec=100ms",
       "--property=RestartPreventExitStatus=0", "--property=StartLimitIntervalSec=0", kServiceStopLimit},
      "--guard");
}

bool stop_guard() {
  return stop(kGuardUnit);
}

bool roll_back_now() {
  // Without its timer, which somebody has stopped, the service is unknown. One that never comes makes it
  // known.
  if (!may_run(kRevertTimer) && !may_run(kRevertUnit) && !start_revert_timer(kNever)) return false;
  return succeeds({"systemctl", "start", kRevertUnit});
}

bool apply_in_service(const std::string& program) {
  return run_in_service({"--wait", "--unit=lanfab-apply", "--description=Apply of a network configuration",
                         "--property=OnFailure=lanfab-revert.service", kOneshot, kServiceStopLimit},
                        {own_program(), "record", "apply", program});
}

void stop_apply() {
  stop(kApplyUnit);
}

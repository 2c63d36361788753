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

// Longer than the services take to stop: see kServiceStopLimit.
constexpr int kStopLimit = 20;
constexpr char kServiceStopLimit[] = "--property=TimeoutStopSec=10";
// Time limit of a rollback attempt, longer than everything that it waits for.
constexpr char kAttemptLimit[] = "--property=TimeoutStartSec=300";
constexpr std::int64_t kNever = 86400;
// If an apply is stopped from outside, a oneshot service fails; a service of another type would succeed.
constexpr char kOneshot[] = "--property=Type=oneshot";

// Properties that keep a unit of a trial running when another target is isolated, such as emergency.target.
constexpr const char* kLasting[] = {"IgnoreOnIsolate=yes", "DefaultDependencies=no",
                                    "Conflicts=shutdown.target", "Before=shutdown.target"};

// First version of systemd that can increase the delay between restarts.
constexpr int kVersionWithSteps = 254;

// Properties that a rollback needs in addition to those of a run: wall(1) writes to all terminals, including
// serial ones, and the messages are logged under the name lanfab.
constexpr const char* kRevertNeeds[] = {
    "--property=PrivateDevices=no",       "--property=DevicePolicy=closed",
    "--property=DeviceAllow=char-pts w",  "--property=DeviceAllow=char-tty* w",
    "--property=DeviceAllow=char-hvc* w", "--property=SyslogIdentifier=lanfab",
};
// Group that may write to terminals. systemd does not start a service whose group is missing.
constexpr char kTerminalGroup[] = "tty";

constexpr const char* kRunningStates[] = {"active",       "reloading",   "activating",
                                          "deactivating", "maintenance", "refreshing"};

std::optional<std::string> query_unit(const char* unit, bool& is_running) {
  is_running = true;
  std::string state;
  if (auto error =
          capture({"systemctl", "show", "--property=ActiveState", "--value", unit}, state, kQuerySeconds))
    return "lanfab: " + *error;
  // Unknown output, which would count as a running unit, is an error: `systemctl` may be another program than
  // systemd's.
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

// systemd-run options that set the properties kLasting. `option` is "property" or "timer-property".
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

// Runs `lanfab revert` with `option` in a service with the properties of a rollback.
static bool run_revert(Words options, const std::string& option) {
  options.insert(options.end(), std::begin(kRevertNeeds), std::end(kRevertNeeds));
  if (getgrnam(kTerminalGroup) != nullptr)
    options.push_back(std::string("--property=SupplementaryGroups=") + kTerminalGroup);
  return run_in_service(options, revert_command_line(option));
}

// Major version of systemd; 0 if it is unknown.
static int systemd_version() {
  constexpr char kName[] = "systemd ";
  std::string version;
  if (capture({"systemctl", "--version"}, version, kQuerySeconds) || version.rfind(kName, 0) != 0) return 0;
  return static_cast<int>(std::strtol(version.c_str() + std::strlen(kName), nullptr, 10));
}

// Options that retry a failed rollback without limit: after 5 s and, if systemd supports it, after increasing
// delays of up to 60 s.
static Words endless_restarts() {
  Words words = {"--property=Restart=on-failure", "--property=RestartSec=5",
                 "--property=StartLimitIntervalSec=0"};
  if (systemd_version() >= kVersionWithSteps)
    append(words, {"--property=RestartSteps=5", "--property=RestartMaxDelaySec=60"});
  return words;
}

// The units are unloaded when they have ended, even if they failed: their names are free for the next trial,
// and their messages stay in the journal.
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

// The service only ends when the guard exits with status 0; if the guard is killed, systemd starts it again.
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
  // If the timer was stopped from outside, systemd has unloaded the service, too. A timer that does not
  // expire within a day loads it again.
  if (!may_run(kRevertTimer) && !may_run(kRevertUnit) && !start_revert_timer(kNever)) return false;
  return succeeds({"systemctl", "start", kRevertUnit});
}

bool apply_in_service() {
  return run_in_service({"--wait", "--unit=lanfab-apply", "--description=Apply of a network configuration",
                         "--property=OnFailure=lanfab-revert.service", kOneshot, kServiceStopLimit},
                        apply_command_line());
}

void stop_apply() {
  stop(kApplyUnit);
}

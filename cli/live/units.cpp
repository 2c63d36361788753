#include "cli/live/units.h"

#include "cli/base/subprocess.h"

// In seconds. A run that waits for the lock of a killed one would wait for ever.
constexpr char kApplyLimit[] = "170";
constexpr char kStopLimit[] = "--property=TimeoutStopSec=10";
constexpr std::int64_t kNever = 86400;

bool is_running(const char* unit) {
  std::string state;
  if (capture({"systemctl", "show", "--property=ActiveState", "--value", unit}, state)) return true;
  return state != "inactive\n" && state != "failed\n";
}

// The units go when they have ended, however they ended: their names are free for the next trial, and the
// journal keeps what they said. Only a kill starts the revert anew, since it tries again by itself.
bool start_revert_timer(std::int64_t seconds) {
  const std::string when = "--on-active=" + std::to_string(seconds) + "s";
  const std::string program = own_program();
  return !program.empty() && succeeds({"systemd-run", "--quiet", "--collect", "--unit=lanfab-revert",
                                       "--description=Way back from a network configuration on trial", when,
                                       "--timer-property=AccuracySec=1s", "--property=Type=oneshot",
                                       "--property=Restart=on-abnormal", "--property=RestartSec=5", program,
                                       "revert", "--timer"});
}

bool stop_revert_timer() {
  return !is_running(kRevertTimer) || succeeds({"systemctl", "stop", kRevertTimer});
}

bool roll_back_now() {
  // Without its timer, which somebody has stopped, the service is unknown. One that never comes makes it
  // known.
  if (!is_running(kRevertTimer) && !is_running(kRevertUnit) && !start_revert_timer(kNever)) return false;
  return succeeds({"systemctl", "start", kRevertUnit});
}

bool apply_in_service(const std::string& program, OnFailure on_failure) {
  const char* property = on_failure == OnFailure::kRevert ? "--property=OnFailure=lanfab-revert.service"
                                                          : "--property=OnFailure=";
  return succeeds({"systemd-run", "--quiet", "--collect", "--wait", "--unit=lanfab-apply",
                   "--description=Apply of a network configuration", property, kStopLimit, "timeout",
                   kApplyLimit, program, "apply"});
}

void stop_apply() {
  if (is_running(kApplyUnit)) succeeds({"systemctl", "stop", kApplyUnit});
}

bool apply_here(const std::string& program) {
  return succeeds({"timeout", "--kill-after=10", kApplyLimit, program, "apply"});
}

#include "cli/live/units.h"

#include <cstdio>
#include <memory>

#include "cli/live/system.h"
#include "util/child_process.h"

// In seconds. A run that waits for the lock of a killed one would wait for ever.
constexpr char kApplyLimit[] = "170";
constexpr char kStopLimit[] = "--property=TimeoutStopSec=10";
constexpr std::int64_t kNever = 86400;

namespace {

struct ClosePipe {
  void operator()(std::FILE* pipe) const {
    pclose(pipe);
  }
};

}  // namespace

bool is_at_work(const char* unit) {
  const std::string command = std::string("systemctl show --property=ActiveState --value ") + unit;
  const std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command.c_str(), "re"));
  char line[32] = "";
  if (pipe == nullptr || std::fgets(line, sizeof line, pipe.get()) == nullptr) return true;
  const std::string state = line;
  return state != "inactive\n" && state != "failed\n";
}

// The units go when they have ended, however they ended: their names are free for the next trial, and the
// journal keeps what they said. Only a kill starts the revert anew, since it tries again by itself.
bool start_revert_timer(std::int64_t seconds) {
  const std::string when = "--on-active=" + std::to_string(seconds) + "s";
  const std::string program = own_program();
  return run_and_wait("systemd-run", {"systemd-run", "--quiet", "--collect", "--unit=lanfab-revert",
                                      "--description=Way back from a network configuration on trial",
                                      when.c_str(), "--timer-property=AccuracySec=1s",
                                      "--property=Type=oneshot", "--property=Restart=on-abnormal",
                                      "--property=RestartSec=5", program.c_str(), "revert", "--timer"}) == 0;
}

bool stop_revert_timer() {
  return !is_at_work(kRevertTimer) || run_and_wait("systemctl", {"systemctl", "stop", kRevertTimer}) == 0;
}

bool revert_now() {
  // Without its timer, which somebody has stopped, the service is unknown. One that never comes makes it
  // known.
  if (!is_at_work(kRevertTimer) && !is_at_work(kRevertUnit) && !start_revert_timer(kNever)) return false;
  return run_and_wait("systemctl", {"systemctl", "start", kRevertUnit}) == 0;
}

bool apply_in_service(const std::string& program, OnFailure on_failure) {
  const char* property = on_failure == OnFailure::kRevert ? "--property=OnFailure=lanfab-revert.service"
                                                          : "--property=OnFailure=";
  return run_and_wait("systemd-run", {"systemd-run", "--quiet", "--collect", "--wait", "--unit=lanfab-apply",
                                      "--description=Apply of a network configuration", property, kStopLimit,
                                      "timeout", kApplyLimit, program.c_str(), "apply"}) == 0;
}

void stop_apply() {
  if (is_at_work(kApplyUnit)) run_and_wait("systemctl", {"systemctl", "stop", kApplyUnit});
}

bool apply_here(const std::string& program) {
  return run_and_wait("timeout", {"timeout", "--kill-after=10", kApplyLimit, program.c_str(), "apply"}) == 0;
}

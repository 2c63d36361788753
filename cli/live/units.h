#pragma once

// systemd units of a trial, so that it does not depend on a process of a session. The services have the
// confinement of lanfab.service.

#include <cstdint>
#include <optional>
#include <string>

// Runs `cmd_lanfab apply`.
inline constexpr char kApplyUnit[] = "lanfab-apply.service";
// Rolls back the trial: `lanfab revert --timer`.
inline constexpr char kRevertUnit[] = "lanfab-revert.service";
inline constexpr char kRevertTimer[] = "lanfab-revert.timer";
// Guards the trial: `lanfab revert --guard`.
inline constexpr char kGuardUnit[] = "lanfab-guard.service";

// Sets whether the unit is active, activating or deactivating. Returns nothing, or why its state is unknown:
// `is_running` is true then.
std::optional<std::string> query_unit(const char* unit, bool& is_running);

// Starts the timer that rolls the trial back after this many seconds, even if the clock is set. A rollback
// that fails is retried until it succeeds.
bool start_revert_timer(std::int64_t seconds);

// Runs the rollback service without a trial, so that it does nothing. Returns whether it succeeded: it fails
// if this program is in a directory that services do not see, for example.
bool test_revert_service();

// Stops it, if it is there. Returns whether it has gone.
bool stop_revert_timer();

// Starts the guard of the trial. Returns whether it runs.
bool start_guard();

// Stops it, if it is there. Returns whether it has gone.
bool stop_guard();

// Starts the rollback service, unless it is running, and waits for its end. Returns whether it succeeded.
bool roll_back_now();

// Runs an apply in a service, which records what it applies, and waits for its end; the service does not
// depend on this process. A failure starts the rollback service. Returns whether the apply succeeded.
bool apply_in_service(const std::string& program);

// Stops the apply that apply_in_service() has started, if it is still running.
void stop_apply();

#pragma once

// systemd units of a trial, so that it does not depend on a session's processes. The services are confined
// like lanfab.service.

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

// Sets `is_running` to whether the unit is active or changing its state, such as activating or deactivating.
// Returns nothing, or why its state is unknown; `is_running` is then true.
std::optional<std::string> query_unit(const char* unit, bool& is_running);

// Starts the timer that rolls back the trial after this many seconds, even if the clock is set meanwhile. A
// rollback that fails is retried until it succeeds. Returns whether the timer was started.
bool start_revert_timer(std::int64_t seconds);

// Runs the rollback service while there is no trial, so that it does nothing. Returns whether it succeeded:
// it fails, for example, if this program is in a directory that services cannot see.
bool test_revert_service();

// Stops the timer if it is running. Returns whether it is stopped.
bool stop_revert_timer();

// Starts the guard of the trial. Returns whether it was started.
bool start_guard();

// Stops the guard if it is running. Returns whether it is stopped.
bool stop_guard();

// Starts the rollback service unless it is running, and waits until it has finished. Returns whether it
// succeeded.
bool roll_back_now();

// Runs an apply in a service that does not depend on this process, records the configuration that it applied,
// and waits until it has finished; the copies of copy_programs() do this. If the apply fails, systemd starts
// the rollback service. Returns whether it succeeded.
bool apply_in_service();

// Stops the apply that apply_in_service() started, if it is still running.
void stop_apply();

#pragma once

// What systemd does for a trial, so that no process of a session has to live for it. Its services have the
// confinement of lanfab.service.

#include <cstdint>
#include <optional>
#include <string>

// Runs `cmd_lanfab apply`.
inline constexpr char kApplyUnit[] = "lanfab-apply.service";
// Takes the trial back: `lanfab revert --timer`.
inline constexpr char kRevertUnit[] = "lanfab-revert.service";
inline constexpr char kRevertTimer[] = "lanfab-revert.timer";
// Watches over the trial: `lanfab revert --guard`.
inline constexpr char kGuardUnit[] = "lanfab-guard.service";

// Sets whether the unit is active or on its way to or from there. Returns nothing, or why that is not known:
// `is_running` is true then.
std::optional<std::string> query_unit(const char* unit, bool& is_running);

// Starts the timer that takes the trial back after so many seconds, whatever the clock of the machine says. A
// rollback that fails is tried again until it has succeeded.
bool start_revert_timer(std::int64_t seconds);

// Runs what the timer starts, without a trial: it finds nothing to do. Returns whether that succeeded. It may
// not where this program is in a directory that services do not see, for example.
bool test_revert_service();

// Stops it, if it is there. Returns whether it has gone.
bool stop_revert_timer();

// Starts the guard of the trial. Returns whether it runs.
bool start_guard();

// Stops it, if it is there. Returns whether it has gone.
bool stop_guard();

// Starts what the timer would start, or joins it, and waits for its end. Returns whether it succeeded.
bool roll_back_now();

// Has systemd run an apply, whose text is recorded, and waits for its end: it goes on without this process. A
// failure starts what the timer would start. Returns whether it succeeded.
bool apply_in_service(const std::string& program);

// Ends the apply that apply_in_service has begun, if it is still at work.
void stop_apply();

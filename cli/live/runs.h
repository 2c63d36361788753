#pragma once

// Running cmd_lanfab processes, and the lock that keeps them apart.

#include <ctime>
#include <optional>
#include <string>

struct RunLockState {
  std::time_t since = 0;
  // Whether a run holds it. A killed run leaves its lock file, and every later run waits until it is removed.
  bool is_held = false;
  int runs = 0;  // running or waiting
};

// Nothing if there is no lock file.
std::optional<RunLockState> read_run_lock();

// Removes the lock file of a killed run. A lock that a run holds, or may hold, stays.
void remove_stale_lock();

// Kills runs that were stopped by a signal: they hold the lock until they are continued.
void end_stopped_runs();

// Whether a process is a run of cmd_lanfab. `process` is its PID.
bool is_run(const std::string& process);

#pragma once

// Running cmd_lanfab processes, and the lock that serializes them.

#include <ctime>
#include <optional>
#include <string>

struct RunLockState {
  std::time_t since = 0;
  // Whether a run holds the lock. A killed run leaves its lock file, and every later run waits until that is
  // removed.
  bool is_held = false;
  int runs = 0;  // running or waiting
};

// Returns the state of the lock; nothing if there is no lock file.
std::optional<RunLockState> read_run_lock();

// Removes the lock file of a killed run. Keeps a lock that a run holds or may hold.
void remove_stale_lock();

// Kills runs that were suspended by a signal such as SIGSTOP: they would hold the lock until they are
// continued.
void end_stopped_runs();

// Whether the process with this PID is a run of cmd_lanfab.
bool is_run(const std::string& process);

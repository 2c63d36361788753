#pragma once

// The lock that keeps runs of cmd_lanfab apart, and the runs themselves.

#include <ctime>
#include <optional>
#include <string>

struct RunLock {
  std::time_t since = 0;
  // Whether a run has it. A run that was killed leaves it, and every later one waits for ever.
  bool is_held = false;
  int runs = 0;  // all that are there, those that wait included
};

// Nothing while there is no lock.
std::optional<RunLock> look_at_run_lock();

// Whether the process of this number is a run of cmd_lanfab.
bool is_run(const std::string& process);

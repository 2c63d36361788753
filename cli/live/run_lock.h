#pragma once

// The lock that keeps runs of cmd_lanfab apart.

#include <ctime>
#include <optional>

struct RunLock {
  std::time_t since = 0;
  // Whether a run has it. A run that was killed leaves it, and every later one waits for ever.
  bool is_held = false;
  int runs = 0;  // all that are there, those that wait included
};

// Nothing while there is no lock.
std::optional<RunLock> look_at_run_lock();

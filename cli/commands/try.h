#pragma once

// `lanfab try`: puts a configuration in force until it is confirmed, and takes it back when it is not.

#include <cstdint>
#include <string>

struct TryOptions {
  std::string file;  // "-" is standard input
  std::int64_t seconds = 120;
  bool force = false;  // errors that `lanfab check` finds do not stop it
};

// Nothing of this process has to survive: the trial's file lies below /run, bound over the installed one, and
// a timer of systemd takes it back. These are the steps; killed after any of them, the old network is
// untouched or the timer runs.
//
//   1. The trial's file and its state are written: nothing reads them yet.
//   2. The timer starts: it finds nothing to take back but files.
//   3. The file is put over the installed one: runs of cmd_lanfab see it from now on.
//   4. A service of systemd applies it: a failure starts what the timer would start.
//
// On a terminal it then counts down and takes Enter to confirm or Ctrl-C to revert; elsewhere it returns.
// Returns the exit status: 0 when it was confirmed or goes on, 1 when `lanfab check` finds an error or the
// trial was taken back, 2 when it cannot be done.
int try_on_gateway(const TryOptions& options);

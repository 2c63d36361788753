#pragma once

// The lock file, which serializes runs. It exists while a run is active; a run killed with SIGKILL leaves it
// behind.

inline constexpr char kLockFile[] = "/var/run/LANFAB_LOCKED";

// Waits, without a time limit, until no other run has the lock, and acquires it. From then on, a signal that
// ends this process removes the lock file first: SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGABRT and SIGXFSZ.
void take_run_lock();

void release_run_lock();

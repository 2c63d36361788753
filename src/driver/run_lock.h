#pragma once

// The lock file that keeps runs apart. It is there while a run works, and a run that is killed with SIGKILL
// leaves it behind.

inline constexpr char kLockFile[] = "/var/run/LANFAB_LOCKED";

// Waits, without a limit, until no other run has the lock, and takes it. From then on a signal
// that ends this process removes the lock file first: SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGABRT and SIGXFSZ.
void take_run_lock();

void release_run_lock();

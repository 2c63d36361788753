#pragma once

// The lock file that keeps runs apart. It is there while a run works, and a run that dies of a crash leaves
// it behind.

inline constexpr char kLockFile[] = "/var/run/LANFAB_LOCKED";

// Waits, without a limit, until no other run has the lock, and takes it. From then on SIGTERM, SIGINT and
// SIGHUP remove the lock file before they end this process.
void take_run_lock();

void release_run_lock();

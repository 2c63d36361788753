#pragma once

// The guard of the lock file: its holder may test and change the lock file in two steps. It is a file that
// only root can open, so that no other user can block runs; it exists only while a process holds it or waits
// for it.

inline constexpr char kRunLockGuard[] = "/var/run/.LANFAB_LOCKED.guard";

class RunLockGuard {
 public:
  // Waits until no other process holds the guard, for at most 10 seconds.
  RunLockGuard();
  RunLockGuard(const RunLockGuard&) = delete;
  RunLockGuard& operator=(const RunLockGuard&) = delete;
  ~RunLockGuard();

  // False if the file cannot be opened or another process did not release it; a warning is then in the log.
  bool is_held() const;

  // Whether another process currently holds the guard.
  static bool is_taken();

 private:
  int file_ = -1;
};

#pragma once

// What whoever tests and changes the lock file holds meanwhile, since that takes two steps. It is a file that
// only root can open, so that no other user can keep runs waiting; it is there only while somebody holds or
// wants it.

inline constexpr char kRunLockGuard[] = "/var/run/.LANFAB_LOCKED.guard";

class RunLockGuard {
 public:
  // Waits until nobody else has the guard, for 10 seconds at most.
  RunLockGuard();
  RunLockGuard(const RunLockGuard&) = delete;
  RunLockGuard& operator=(const RunLockGuard&) = delete;
  ~RunLockGuard();

  // False when the file cannot be opened, or when another process kept it; a warning in the log says so.
  bool is_held() const;

  // Whether another process has the guard just now.
  static bool is_taken();

 private:
  int file_ = -1;
};

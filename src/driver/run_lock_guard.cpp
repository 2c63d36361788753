#include "driver/run_lock_guard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>

// Nobody needs it for longer than a touch takes.
constexpr int kAttempts = 1000;
constexpr useconds_t kPauseMicroseconds = 10'000;

// Whoever lets go of the guard removes its file: one that was opened before is a guard no longer.
static bool is_linked(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && status.st_nlink > 0;
}

RunLockGuard::RunLockGuard() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    file_ = open(kRunLockGuard, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    // Without a place for it there is nothing to hold on to, and the steps stand alone.
    if (file_ < 0) return;
    if (flock(file_, LOCK_EX | LOCK_NB) == 0 && is_linked(file_)) return;
    ::close(file_);
    file_ = -1;
    usleep(kPauseMicroseconds);
  }
  syslog(LOG_WARNING, "%s: another process has kept it for 10 seconds, going on without it", kRunLockGuard);
}

RunLockGuard::~RunLockGuard() {
  if (file_ < 0) return;
  unlink(kRunLockGuard);
  ::close(file_);
}

bool RunLockGuard::is_held() const {
  return file_ >= 0;
}

bool RunLockGuard::is_taken() {
  const int file = open(kRunLockGuard, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0) return errno == EACCES;
  const bool is_taken = flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  ::close(file);
  return is_taken;
}

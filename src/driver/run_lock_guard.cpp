#include "driver/run_lock_guard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>

// Time limit; a holder needs the guard no longer than a touch takes.
constexpr int kAttempts = 1000;
constexpr useconds_t kPauseMicroseconds = 10'000;

// Whether the file is still linked: releasing the guard removes its file, which is then no longer the guard.
static bool is_linked(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && status.st_nlink > 0;
}

RunLockGuard::RunLockGuard() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    file_ = open(kRunLockGuard, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    // The file cannot be created: continue without the guard.
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

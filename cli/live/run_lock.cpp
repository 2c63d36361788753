#include "cli/live/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "cli/live/run_processes.h"
#include "driver/run_lock.h"

// Whether a run is about to take the lock or to leave it to another: it holds the directory meanwhile.
static bool is_changing() {
  const std::string lock = kLockFile;
  const int directory = open(lock.substr(0, lock.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool is_busy = directory >= 0 && flock(directory, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (directory >= 0) close(directory);
  return is_busy;
}

std::optional<RunLock> look_at_run_lock() {
  struct stat status {};
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  RunLock lock;
  lock.since = status.st_mtime;
  const bool is_busy = is_changing();
  const auto runs = list_runs();
  lock.is_held = is_busy || !runs || std::any_of(runs->begin(), runs->end(), may_hold_lock);
  lock.runs = runs ? static_cast<int>(runs->size()) : 0;
  // It may have been given back since.
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  return lock;
}

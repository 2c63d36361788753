#include "cli/live/stale_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "cli/live/run_processes.h"
#include "driver/run_lock.h"

static bool is_lock_held() {
  const auto runs = list_runs();
  return !runs || std::any_of(runs->begin(), runs->end(), may_hold_lock);
}

void remove_stale_lock() {
  // Runs test and take the lock while they hold the directory.
  const std::string lock = kLockFile;
  const int directory = open(lock.substr(0, lock.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  while (directory >= 0 && flock(directory, LOCK_EX) != 0 && errno == EINTR) {
  }
  if (!is_lock_held() && unlink(kLockFile) == 0)
    std::fprintf(stderr, "%s: a run that was killed has left it; removed\n", kLockFile);
  if (directory >= 0) close(directory);
}

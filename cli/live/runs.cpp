#include "cli/live/runs.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "cli/base/file.h"
#include "driver/run_lock.h"

static std::string line_of(const std::string& file, const std::string& prefix) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);)
    if (line.rfind(prefix, 0) == 0) return line.substr(prefix.size());
  return "";
}

static bool has_signal(const std::string& mask, int signal) {
  return (std::strtoull(mask.c_str(), nullptr, 16) >> (signal - 1) & 1) != 0;
}

// PIDs of runs. Nothing if the processes cannot be listed.
static std::optional<std::vector<std::string>> list_runs() {
  auto processes = list_directory("/proc");
  if (!processes) return std::nullopt;
  const auto is_other = [](const std::string& name) {
    return std::isdigit(static_cast<unsigned char>(name.front())) == 0 || !is_run(name);
  };
  processes->erase(std::remove_if(processes->begin(), processes->end(), is_other), processes->end());
  return processes;
}

bool is_run(const std::string& process) {
  return line_of("/proc/" + process + "/comm", "") == "cmd_lanfab";
}

// A run handles SIGTERM while it holds the lock, unless its caller ignores it; a waiting run does not.
static bool may_hold_lock(const std::string& run) {
  const std::string status = "/proc/" + run + "/status";
  return has_signal(line_of(status, "SigCgt:"), SIGTERM) || has_signal(line_of(status, "SigIgn:"), SIGTERM);
}

static bool may_one_hold_lock(const std::optional<std::vector<std::string>>& runs) {
  return !runs || std::any_of(runs->begin(), runs->end(), may_hold_lock);
}

// Runs check and take the lock while they lock its directory.
static std::string lock_directory() {
  const std::string lock = kLockFile;
  return lock.substr(0, lock.rfind('/'));
}

// Whether a run is about to take or to release the lock.
static bool is_lock_changing() {
  const Descriptor directory(open(lock_directory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory.is_open() && flock(directory.number(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

std::optional<RunLockState> read_run_lock() {
  struct stat status {};
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  RunLockState lock;
  lock.since = status.st_mtime;
  const bool is_changing = is_lock_changing();
  const auto runs = list_runs();
  lock.is_held = is_changing || may_one_hold_lock(runs);
  lock.runs = runs ? static_cast<int>(runs->size()) : 0;
  // It may have been released meanwhile.
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  return lock;
}

void remove_stale_lock() {
  const ExclusiveLock lock(lock_directory());
  if (lock.is_held() && !may_one_hold_lock(list_runs()) && unlink(kLockFile) == 0)
    std::fprintf(stderr, "%s: a run that was killed has left it; removed\n", kLockFile);
}

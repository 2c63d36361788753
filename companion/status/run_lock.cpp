#include "companion/status/run_lock.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "driver/run_lock.h"

static std::string line_of(const std::string& file, const std::string& prefix) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);)
    if (line.rfind(prefix, 0) == 0) return line.substr(prefix.size());
  return "";
}

bool is_run(const std::string& process) {
  return line_of("/proc/" + process + "/comm", "") == "cmd_lanfab";
}

static bool has_signal(const std::string& mask, int signal) {
  return (std::strtoull(mask.c_str(), nullptr, 16) >> (signal - 1) & 1) != 0;
}

// A run handles SIGTERM from when it has the lock until it gives it back, unless its caller ignores it; one
// that waits does not.
static bool may_hold_lock(const std::string& process) {
  const std::string status = "/proc/" + process + "/status";
  return has_signal(line_of(status, "SigCgt:"), SIGTERM) || has_signal(line_of(status, "SigIgn:"), SIGTERM);
}

static std::vector<std::string> runs() {
  std::vector<std::string> found;
  DIR* processes = opendir("/proc");
  while (const dirent* entry = processes != nullptr ? readdir(processes) : nullptr)
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0 && is_run(entry->d_name))
      found.emplace_back(entry->d_name);
  if (processes != nullptr) closedir(processes);
  return found;
}

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
  lock.is_held = is_changing();
  for (const std::string& process : runs()) {
    ++lock.runs;
    lock.is_held |= may_hold_lock(process);
  }
  // It may have been given back since.
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  return lock;
}

#include "companion/gateway/stale_lock.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

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

// A run handles SIGTERM from when it has the lock until it gives it back, unless its caller ignores it; one
// that waits does not.
static bool may_hold_lock(const std::string& process) {
  const std::string directory = "/proc/" + process;
  if (line_of(directory + "/comm", "") != "cmd_lanfab") return false;
  const std::string status = directory + "/status";
  return has_signal(line_of(status, "SigCgt:"), SIGTERM) || has_signal(line_of(status, "SigIgn:"), SIGTERM);
}

static bool is_lock_held() {
  DIR* processes = opendir("/proc");
  bool is_held = processes == nullptr;
  while (const dirent* entry = processes != nullptr ? readdir(processes) : nullptr) {
    const bool is_process = std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0;
    is_held = is_held || (is_process && may_hold_lock(entry->d_name));
  }
  if (processes != nullptr) closedir(processes);
  return is_held;
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

#include "cli/live/runs.h"

#include <limits.h>
#include <poll.h>
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
#include "driver/run_lock_guard.h"

constexpr char kProgram[] = "cmd_lanfab";
// Name of the program in /proc/PID/exe if an upgrade has replaced it during the run.
constexpr char kReplacedProgram[] = "cmd_lanfab (deleted)";

// Root as the real and effective user, as in the line "Uid:" of /proc/PID/status.
constexpr char kRootAlone[] = "\t0\t0\t";

// Checks whether a killed run has ended, and the pause before each check.
constexpr int kAttempts = 200;
constexpr int kPollMilliseconds = 5;

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

// The name of the process proves nothing, since any user can choose it: a run belongs to root, and its
// executable is cmd_lanfab.
bool is_run(const std::string& process) {
  const std::string directory = "/proc/" + process;
  // The owner of the directory proves nothing either: it is also root for a process that is not dumpable.
  if (line_of(directory + "/status", "Uid:").rfind(kRootAlone, 0) != 0) return false;
  char program[PATH_MAX];
  const ssize_t size = readlink((directory + "/exe").c_str(), program, sizeof program);
  // Only root can read which program a process of root runs. For other users, the name of the process must
  // suffice.
  if (size < 0) return errno == EACCES && line_of(directory + "/comm", "") == kProgram;
  std::string name(program, static_cast<std::size_t>(size));
  name.erase(0, name.rfind('/') + 1);
  return name == kProgram || name == kReplacedProgram;
}

// While a run holds the lock, it handles SIGTERM, or ignores it if its caller does. A run that waits for the
// lock does not handle it.
static bool may_hold_lock(const std::string& run) {
  const std::string status = "/proc/" + run + "/status";
  return has_signal(line_of(status, "SigCgt:"), SIGTERM) || has_signal(line_of(status, "SigIgn:"), SIGTERM);
}

static bool may_one_hold_lock(const std::optional<std::vector<std::string>>& runs) {
  return !runs || std::any_of(runs->begin(), runs->end(), may_hold_lock);
}

std::optional<RunLockState> read_run_lock() {
  struct stat status {};
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  RunLockState lock;
  lock.since = status.st_mtime;
  const bool is_changing = RunLockGuard::is_taken();
  const auto runs = list_runs();
  lock.is_held = is_changing || may_one_hold_lock(runs);
  lock.runs = runs ? static_cast<int>(runs->size()) : 0;
  // The lock may have been released meanwhile.
  if (stat(kLockFile, &status) != 0) return std::nullopt;
  return lock;
}

static bool is_stopped(const std::string& run) {
  return line_of("/proc/" + run + "/status", "State:\t").rfind("T (stopped)", 0) == 0;
}

void end_stopped_runs() {
  for (const std::string& run : list_runs().value_or(std::vector<std::string>())) {
    if (!is_stopped(run)) continue;
    kill(std::stoi(run), SIGKILL);
    std::fprintf(stderr, "killed process %s, a run that was stopped\n", run.c_str());
    // The process may take a moment to end.
    int left = kAttempts;
    do {
      poll(nullptr, 0, kPollMilliseconds);
    } while (--left > 0 && is_run(run));
  }
}

void remove_stale_lock() {
  const RunLockGuard guard;
  if (guard.is_held() && !may_one_hold_lock(list_runs()) && unlink(kLockFile) == 0)
    std::fprintf(stderr, "removed %s, which a killed run had left\n", kLockFile);
}

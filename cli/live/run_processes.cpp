#include "cli/live/run_processes.h"

#include <dirent.h>

#include <cctype>
#include <csignal>
#include <cstdlib>
#include <fstream>

static std::string line_of(const std::string& file, const std::string& prefix) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);)
    if (line.rfind(prefix, 0) == 0) return line.substr(prefix.size());
  return "";
}

static bool has_signal(const std::string& mask, int signal) {
  return (std::strtoull(mask.c_str(), nullptr, 16) >> (signal - 1) & 1) != 0;
}

std::optional<std::vector<std::string>> list_runs() {
  DIR* processes = opendir("/proc");
  if (processes == nullptr) return std::nullopt;
  std::vector<std::string> runs;
  while (const dirent* entry = readdir(processes)) {
    const bool is_process = std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0;
    if (is_process && is_run(entry->d_name)) runs.emplace_back(entry->d_name);
  }
  closedir(processes);
  return runs;
}

bool is_run(const std::string& process) {
  return line_of("/proc/" + process + "/comm", "") == "cmd_lanfab";
}

// A run handles SIGTERM from when it has the lock until it gives it back, unless its caller ignores it; one
// that waits does not.
bool may_hold_lock(const std::string& run) {
  const std::string status = "/proc/" + run + "/status";
  return has_signal(line_of(status, "SigCgt:"), SIGTERM) || has_signal(line_of(status, "SigIgn:"), SIGTERM);
}

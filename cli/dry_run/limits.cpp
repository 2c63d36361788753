#include "cli/dry_run/limits.h"

#include <sys/resource.h>

#include <algorithm>
#include <stdexcept>

void Meter::add(std::size_t bytes) {
  if (bytes > left_) throw std::runtime_error("the run was stopped: its output, log, and files exceed 64 MB");
  left_ -= bytes;
}

std::optional<std::string> allow_open_files() {
  constexpr rlim_t kNeeded = 64;
  constexpr rlim_t kUsual = 1024;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, kUsual));
  if (limit.rlim_cur >= kNeeded && setrlimit(RLIMIT_NOFILE, &limit) == 0) return std::nullopt;
  return "a dry run needs " + std::to_string(kNeeded) + " open files, and the limit is " +
         std::to_string(limit.rlim_max) + "; see 'ulimit -n'";
}

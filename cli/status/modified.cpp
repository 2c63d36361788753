#include "cli/status/modified.h"

#include <sys/stat.h>

#include <chrono>

std::int64_t modified_at(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return 0;
  const std::int64_t time = status.st_mtim.tv_sec * std::int64_t{1'000'000} + status.st_mtim.tv_nsec / 1000;
  // time() is not suitable: it lags behind the times of files by up to a tick.
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return time <= std::chrono::duration_cast<std::chrono::microseconds>(now).count() ? time : 0;
}

#include "cli/status/modified.h"

#include <sys/stat.h>

#include <ctime>

std::int64_t modified_at(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || status.st_mtim.tv_sec > std::time(nullptr)) return 0;
  const std::int64_t seconds = status.st_mtim.tv_sec;
  return seconds * 1'000'000 + status.st_mtim.tv_nsec / 1000;
}

#include "cli/base/programs.h"

#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

std::optional<std::string> absolute_program(const std::string& path) {
  char absolute[PATH_MAX];
  if (realpath(path.c_str(), absolute) == nullptr || access(absolute, X_OK) != 0) return std::nullopt;
  return absolute;
}

std::optional<std::string> find_in_path(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream directories(std::string(path != nullptr ? path : "") + ":/usr/sbin:/sbin");
  for (std::string directory; std::getline(directories, directory, ':');)
    if (auto program = absolute_program(directory + "/" + name)) return program;
  return std::nullopt;
}

#include "companion/trial.h"

#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "companion/world/world.h"

constexpr char kProgram[] = "cmd_lanfab";

static std::optional<std::string> absolute_program(const std::string& path) {
  char absolute[PATH_MAX];
  if (realpath(path.c_str(), absolute) == nullptr || access(absolute, X_OK) != 0) return std::nullopt;
  return absolute;
}

// Beside this program or, in a build tree, one directory above it; then along PATH.
static std::optional<std::string> find_program() {
  char own[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own);
  const std::string path(own, length > 0 ? static_cast<std::size_t>(length) : 0);
  const std::string directory = path.substr(0, path.find_last_of('/'));
  for (const char* place : {"/", "/../"})
    if (auto program = absolute_program(directory + place + kProgram)) return program;
  const char* search = std::getenv("PATH");
  std::istringstream directories(search != nullptr ? search : "");
  for (std::string place; std::getline(directories, place, ':');)
    if (auto program = absolute_program(place + "/" + kProgram)) return program;
  return std::nullopt;
}

static void replace_all(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

std::optional<std::string> try_out(const std::string& file, const TrialOptions& options, Trial& trial) {
  if (auto trouble = read_source(file, trial.source)) return trouble;
  const auto program = options.program.empty() ? find_program() : absolute_program(options.program);
  if (!program) {
    if (!options.program.empty()) return options.program + ": " + std::strerror(errno);
    return std::string("lanfab: ") + kProgram +
           " is neither beside this program nor in PATH; --program names it";
  }
  if (auto trouble = make_start(options.cell, trial.start)) return trouble;
  Outcome& outcome = trial.outcome;
  if (auto trouble = run_in_world({*program, options.action, trial.source.text, trial.start}, outcome)) {
    return "lanfab: " + *trouble;
  }
  replace_all(outcome.standard_error, kConfigurationInWorld, trial.source.name);
  for (Message& message : outcome.messages)
    replace_all(message.text, kConfigurationInWorld, trial.source.name);
  return std::nullopt;
}

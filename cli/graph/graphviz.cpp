#include "cli/graph/graphviz.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli/base/memory_file.h"
#include "cli/base/wait.h"

// Returns the wait status, -1 with errno set when it cannot be run.
static int run_dot(const MemoryFile& input, const MemoryFile& output) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input.descriptor, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, output.descriptor, STDOUT_FILENO);
  const char* argv[] = {"dot", "-Tsvg", nullptr};
  pid_t process = 0;
  errno = posix_spawnp(&process, argv[0], &files, nullptr, const_cast<char**>(argv), environ);
  posix_spawn_file_actions_destroy(&files);
  return errno == 0 ? wait_for_child(process) : -1;
}

std::optional<std::string> draw(const std::string& dot, std::string& svg) {
  const MemoryFile input;
  const MemoryFile output;
  const int status = input.fill(dot) ? run_dot(input, output) : -1;
  if (status < 0 && errno == ENOENT)
    return "Graphviz's dot, which draws the picture, is not in PATH (package graphviz)";
  if (status < 0) return std::string("dot: ") + std::strerror(errno);
  if (WIFSIGNALED(status)) return std::string("dot: ") + strsignal(WTERMSIG(status));
  if (WEXITSTATUS(status) != 0) return "dot ended with status " + std::to_string(WEXITSTATUS(status));
  svg = output.content();
  return std::nullopt;
}

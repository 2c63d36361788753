#pragma once

// Runs tools and shell lines, and waits for them.

#include <spawn.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <string>

// Runs the program `file`, found along PATH, with the null-terminated arguments `command`, and waits for it.
// Returns its wait status, or -1 with an error in the log if it cannot be started. Ctrl-C ends this process
// too, even if only the tool received it.
inline int run_and_wait(const char* file, std::initializer_list<const char*> command) {
  pid_t child = 0;
  auto* words = const_cast<char* const*>(command.begin());
  const int error = posix_spawnp(&child, file, nullptr, nullptr, words, environ);
  if (error != 0) {
    syslog(LOG_ERR, "cannot run %s (%s): %s", file, *(command.end() - 2), std::strerror(error));
    return -1;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  if (signal == SIGINT || signal == SIGQUIT) raise(signal);
  return status;
}

// Runs a shell line. Unlike system(), does not ignore Ctrl-C while the shell runs.
inline int run_in_shell(const char* line) {
  return run_and_wait("/bin/sh", {"sh", "-c", line, nullptr});
}

// Runs a shell line that may fail, for example because the rule or route that it removes does not exist.
void run_shell(const std::string& command);

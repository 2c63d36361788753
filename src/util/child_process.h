#pragma once

// Tools and shell lines that are run and waited for.

#include <spawn.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <string>

// Runs the program `file`, found along PATH, with the words of `command`, which end in a null, and waits for
// it. Returns its wait status; -1, with an error in the log, when it cannot be started. Ctrl-C ends this
// process too, also when it reached the tool alone.
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

// Has the shell run a line. Not system(), which ignores Ctrl-C from before the shell is there until after it
// has gone.
inline int run_in_shell(const char* line) {
  return run_and_wait("/bin/sh", {"sh", "-c", line, nullptr});
}

// The same for a command that may fail: a rule or a route that is not there cannot be removed, for example.
void run_shell(const std::string& command);

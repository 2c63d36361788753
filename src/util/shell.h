#pragma once

// Shell commands.

#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <string>

// Ends this process as well when a tool's wait status says that the keyboard has ended the tool: while
// system() waits for a tool, Ctrl-C reaches the tool alone.
inline void end_if_interrupted(int status) {
  if (!WIFSIGNALED(status)) return;
  const int signal = WTERMSIG(status);
  if (signal == SIGINT || signal == SIGQUIT) raise(signal);
}

// Runs a command that may fail: a rule or a route that is not there cannot be removed, for example.
inline void run_shell(const std::string& command) {
  end_if_interrupted(std::system(command.c_str()));
}

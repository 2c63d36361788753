#pragma once

// Shell commands that may fail: a rule or a route that is not there cannot be removed, for example.

#include <cstdlib>
#include <string>

inline void run_shell(const std::string& command) {
  // The variable tells the compiler that the result is ignored on purpose.
  [[maybe_unused]] const int status = std::system(command.c_str());
}

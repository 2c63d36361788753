#pragma once

// Shell commands whose outcome nobody examines.

#include <cstdlib>
#include <string>

inline void run_shell(const std::string& command) {
  // The result stays unread on purpose; the variable only says so to the compiler.
  [[maybe_unused]] const int status = std::system(command.c_str());
}

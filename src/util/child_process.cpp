#include "util/child_process.h"

void run_shell(const std::string& command) {
  run_in_shell(command.c_str());
}

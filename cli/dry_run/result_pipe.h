#pragma once

// The pipe by which the first process of the sandbox reports the result to its maker.

#include <string>

#include "cli/dry_run/result.h"

class ResultPipe {
 public:
  explicit ResultPipe(int pipe) : pipe_(pipe) {}

  // Errors from now on are not errors of the setup.
  void note_set_up() {
    is_set_up_ = true;
  }

  // Ends the process, and with it the sandbox. Without a reader it does the same.
  [[noreturn]] void finish(const DryRunResult& result) const;
  [[noreturn]] void give_up(const std::string& what) const;  // errno says why

  // Gives up unless the call that was to do `what` succeeded.
  void require(bool success, const std::string& what) const {
    if (!success) give_up(what);
  }

 private:
  int pipe_;
  bool is_set_up_ = false;
};

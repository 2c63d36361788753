#pragma once

// The pipe by which the first process of a world tells its maker how it went.

#include <string>

#include "cli/dry_run/result.h"

class Report {
 public:
  explicit Report(int pipe) : pipe_(pipe) {}

  // From now on, trouble is none of the making.
  void set_made() {
    is_made_ = true;
  }

  // Ends the process, and with it the world. Without a reader it does the same.
  [[noreturn]] void finish(const Outcome& outcome) const;
  [[noreturn]] void give_up(const std::string& what) const;  // errno says why

  // Gives up unless the call that was to do `what` succeeded.
  void require(bool success, const std::string& what) const {
    if (!success) give_up(what);
  }

 private:
  int pipe_;
  bool is_made_ = false;
};

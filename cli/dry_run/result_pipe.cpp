#include "cli/dry_run/result_pipe.h"

#include <unistd.h>

#include <cerrno>

#include "cli/base/file.h"

void Report::finish(const Outcome& outcome) const {
  write_all(pipe_, encode(outcome));
  _exit(0);
}

void Report::give_up(const std::string& what) const {
  write_all(pipe_, encode(Trouble{what, errno, !is_made_}));
  _exit(0);
}

#include "cli/dry_run/result_pipe.h"

#include <unistd.h>

#include <cerrno>

#include "cli/base/file.h"

void ResultPipe::finish(const DryRunResult& result) const {
  write_all(pipe_, encode(result));
  _exit(0);
}

void ResultPipe::give_up(const std::string& what) const {
  write_all(pipe_, encode(SandboxError{what, errno, !is_set_up_}));
  _exit(0);
}

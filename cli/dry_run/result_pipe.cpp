#include "cli/dry_run/result_pipe.h"

#include <unistd.h>

#include <cerrno>

static void write_all(int pipe, const std::string& bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t size = write(pipe, bytes.data() + written, bytes.size() - written);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return;
    written += static_cast<std::size_t>(size);
  }
}

void Report::finish(const Outcome& outcome) const {
  write_all(pipe_, encode(outcome));
  _exit(0);
}

void Report::give_up(const std::string& what) const {
  write_all(pipe_, encode(Trouble{what, errno, !is_made_}));
  _exit(0);
}

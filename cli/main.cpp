// The program `lanfab`, for authors of configurations: what a configuration will do before it does it.

#include <syslog.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"

// Whether everything reached standard output: a full disk and a reader that has gone show at the latest now.
static bool is_output_complete() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  std::fprintf(stderr, "lanfab: error writing standard output: %s\n", std::strerror(errno));
  return false;
}

int main(int argc, char* argv[]) {
  replace_path_of_root();
  signal(SIGPIPE, SIG_IGN);
  // The program's own code, which the rules ask, has nothing to say to this machine's log.
  setlogmask(LOG_MASK(LOG_EMERG));
  try {
    const int status = run_command_line(argc, argv);
    return is_output_complete() ? status : kFailure;
  } catch (const std::exception& error) {
    return fail(std::string("lanfab: ") + error.what());
  }
}

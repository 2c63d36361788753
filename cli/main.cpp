// The program `lanfab`, which checks, previews and applies configurations of cmd_lanfab.

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

// Whether everything was written to standard output. Reports an error otherwise, such as a full disk.
static bool is_output_complete() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  std::fprintf(stderr, "lanfab: error writing standard output: %s\n", std::strerror(errno));
  return false;
}

int main(int argc, char* argv[]) {
  replace_path_of_root();
  signal(SIGPIPE, SIG_IGN);
  // The rules call code of cmd_lanfab, whose messages must not go to this machine's log.
  setlogmask(LOG_MASK(LOG_EMERG));
  try {
    const int status = run_command_line(argc, argv);
    return is_output_complete() ? status : kFailure;
  } catch (const std::exception& error) {
    return fail(std::string("lanfab: ") + error.what());
  }
}

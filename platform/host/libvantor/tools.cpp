#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <vector>

#include "platform/libvantor.h"
#include "util/shell.h"

// Runs a tool without a shell and waits for it; returns its exit status, -1 when it did not run or exit.
static int run_tool(std::initializer_list<const char*> command) {
  std::vector<char*> argv;
  for (const char* word : command)
    argv.push_back(const_cast<char*>(word));
  argv.push_back(nullptr);
  pid_t child = 0;
  if (posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int qelsys(const char* format, ...) {
  char* line = nullptr;
  va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(&line, format, arguments);
  va_end(arguments);
  if (length < 0) return -1;
  const int status = std::system(line);
  std::free(line);
  end_if_interrupted(status);
  return status;
}

int execute_systemctl_start(const char* service) {
  return run_tool({"systemctl", "start", service});
}

int execute_systemctl_restart(const char* service) {
  return run_tool({"systemctl", "restart", service});
}

int is_service_active(const char* service) {
  return run_tool({"systemctl", "is-active", "--quiet", service}) == 0 ? 1 : 0;
}

int ip_link_set_interface_down(const char* ifname) {
  return run_tool({"/sbin/ip", "link", "set", "dev", ifname, "down"});
}

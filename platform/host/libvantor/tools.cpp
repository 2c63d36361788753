#include <sys/wait.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "platform/libvantor.h"
#include "util/child_process.h"

// Runs a tool without a shell, like run_and_wait. Returns its exit status, or -1 if it did not run or exit.
static int run_tool(std::initializer_list<const char*> command) {
  const int status = run_and_wait(*command.begin(), command);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int qelsys(const char* format, ...) {
  char* line = nullptr;
  va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(&line, format, arguments);
  va_end(arguments);
  if (length < 0) return -1;
  const int status = run_in_shell(line);
  std::free(line);
  return status;
}

int execute_systemctl_start(const char* service) {
  return run_tool({"systemctl", "start", service, nullptr});
}

int execute_systemctl_restart(const char* service) {
  return run_tool({"systemctl", "restart", service, nullptr});
}

int is_service_active(const char* service) {
  return run_tool({"systemctl", "is-active", "--quiet", service, nullptr}) == 0 ? 1 : 0;
}

int ip_link_set_interface_down(const char* ifname) {
  return run_tool({"/sbin/ip", "link", "set", "dev", ifname, "down", nullptr});
}

// A run of cmd_lanfab: acquires the lock, executes one action, releases the lock.

#include <sys/stat.h>
#include <syslog.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <string>

#include "dnsmasq/dnsmasq_conf.h"
#include "driver/apply.h"
#include "driver/load.h"
#include "driver/run_lock.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"

static void set_up_signals() {
  // The caller may ignore SIGCHLD; the exit statuses of tools would then be lost.
  signal(SIGCHLD, SIG_DFL);
  // A closed standard output must not end a run. SIGPIPE is handled instead of ignored, since the tools would
  // inherit that; if the caller ignores it, it stays ignored.
  if (signal(SIGPIPE, [](int) {}) == SIG_IGN) signal(SIGPIPE, SIG_IGN);
}

static bool scan_pulse_switch(int argc, char* argv[], int action_index) {
  bool pulse = false;
  for (int i = action_index + 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--pulse-ethernet") != 0) continue;
    pulse = true;
    syslog(LOG_NOTICE, "cmd_lanfab set pulse-ethernet");
  }
  return pulse;
}

static int run_apply(bool pulse) {
  int status = -1;
  {
    const auto ctx = load_network_context(true);
    if (is_initialized(ctx.get())) {
      status = apply(ctx.get(), pulse);
      // dnsmasq_apply never fails the action: dnsmasq is restarted, with its old configuration if the new one
      // could not be written.
      if (status == 0 && dnsmasq_apply(ctx.get()) == 0) execute_systemctl_restart("dnsmasq");
    }
  }
  if (status == -1) syslog(LOG_NOTICE, "cmd lanfab apply failed");
  return status;
}

static int run_wwan_apply() {
  const auto ctx = load_network_context(false);
  if (!is_initialized(ctx.get())) return -1;
  const int status = wwan_apply(ctx.get());
  const std::string script = wwan_static_routes_path(kWwanRouteInterface);
  if (status == 0 && file_exists(script.c_str())) {
    syslog(LOG_NOTICE, "add wwan static routes");
    qelsys("/bin/sh %s", script.c_str());
  }
  return status;
}

static int run_dnsmasq() {
  int status = -1;
  {
    const auto ctx = load_network_context(false);
    if (is_initialized(ctx.get())) {
      status = dnsmasq_apply(ctx.get());
      if (status == 0) execute_systemctl_restart("dnsmasq");
    }
  }
  if (status == -1) syslog(LOG_NOTICE, "cmd lanfab dnsmasq failed");
  return status;
}

static int run_action(const std::string& action, bool pulse) {
  if (action == "APPLY") return run_apply(pulse);
  if (action == "WWAN_APPLY") return run_wwan_apply();
  if (action == "DNSMASQ") return run_dnsmasq();
  return -1;
}

int main(int argc, char* argv[]) {
  // systemd-networkd and dnsmasq read the files as their own users, so ignore the caller's umask.
  umask(022);
  set_up_signals();
  openlog("network", 0, LOG_LOCAL0);
  syslog(LOG_NOTICE, "cmd_lanfab start");
  int index = 0;
  if (get_cmd_command_action_index(argc, argv, &index) != 0) return -1;
  const bool pulse = scan_pulse_switch(argc, argv, index);
  const std::string action = return_input_string_as_all_uppercase(argv[index]);
  take_run_lock();
  syslog(LOG_NOTICE, "lanfab %s", action.c_str());
  const int status = run_action(action, pulse);
  release_run_lock();
  return status;
}

#include "driver/undo.h"

#include <sys/stat.h>
#include <syslog.h>

#include "config/lookup.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"
#include "platform/libvantor.h"
#include "util/open_file.h"
#include "util/subnet.h"

constexpr char kDeleteInterfacesScript[] = "/var/run/.delete_interfaces";
constexpr char kDeleteStaticRoutesScript[] = "/var/run/.delete_static_routes";
// Directory of the cellular units while the unit directory is emptied. The platform provides it.
constexpr char kWwanUnitBackupDir[] = "/var/volatile/qel/.wwan_unit_backup";

void append_clear_interfaces(const NetworkContext* ctx, const char* ifname, const char* kind) {
  print_trace(ctx, __func__);
  const OpenFile script(kDeleteInterfacesScript, "a");
  if (!script) return;
  if (kind == nullptr) {
    std::fprintf(script.get(), "/sbin/ip link delete dev %s\n", ifname);
  } else {
    std::fprintf(script.get(), "/sbin/ip link delete dev %s type %s\n", ifname, kind);
  }
}

// Logs `message`, runs the script and deletes it, even if its commands failed.
static void run_and_delete(const char* script, const char* message) {
  if (!file_exists(script)) return;
  syslog(LOG_DEBUG, "%s", message);
  qelsys("/bin/sh %s", script);
  delete_file(script);
}

void clear_network_interfaces(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  run_and_delete(kDeleteInterfacesScript, "clear network interfaces");
}

void clear_static_routes(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  run_and_delete(kDeleteStaticRoutesScript, "delete static routes");
}

void write_clear_static_routes(const NetworkContext* ctx, const Json::Value& routes) {
  print_trace(ctx, __func__);
  const OpenFile script(kDeleteStaticRoutesScript, "w");
  if (!script) return;
  std::fprintf(script.get(), "#!/bin/sh\n");
  for (const Json::Value& settings : routes) {
    const RouteSettings route = read_route_settings(settings);
    std::string ifname;
    if (!route.has_destination() || !get_static_route_interface(settings, ifname)) continue;
    std::fprintf(script.get(), "/sbin/ip route del %s dev %s 2>/dev/null\n",
                 subnet_of(*route.ipv4, *route.prefix).c_str(), ifname.c_str());
  }
}

void remove_dir_content(const NetworkContext* ctx, const char* dir, bool keep_wwan_units) {
  print_trace(ctx, __func__);
  syslog(LOG_NOTICE, "clear network unit files %s %d", dir, keep_wwan_units);
  // The directory ends in a slash, so these lines have a double slash, which is harmless.
  if (!keep_wwan_units) {
    qelsys("/bin/rm -f %s/*", dir);
    return;
  }
  qelsys("/bin/rm -f %s/*", kWwanUnitBackupDir);
  qelsys("/bin/cp %s/*wwan.* %s 2>/dev/null", dir, kWwanUnitBackupDir);
  qelsys("/bin/rm -f %s/*", dir);
  qelsys("/bin/cp %s/*wwan.* %s 2>/dev/null", kWwanUnitBackupDir, dir);
}

int init_runtime_network_dir(const NetworkContext* ctx, bool keep_wwan_units) {
  print_trace(ctx, __func__);
  remove_dir_content(ctx, kUnitDir, keep_wwan_units);
  mkdir(kUnitDir, 0777);
  return 0;
}

#include "driver/unmanaged_links.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "tunnels/wireguard.h"
#include "util/child_process.h"
#include "util/format.h"

// Links that are never deleted.
constexpr std::array<const char*, 6> kProtectedLinks = {"lo",    "can0",   "can1",
                                                        "wwan0", "wlp1s0", "wifi-aware"};

// Rules of routing tables are removed for wg0 up to this link.
constexpr long kLastWireguardRuleIndex = 7;

constexpr char kRouteListFile[] = "/var/run/.route_list";
constexpr char kNetworkctlListFile[] = "/var/run/.networkctl_list";

// The fields with name and kind in the link listing, if a line is split at every single space. They depend on
// the column layout: a one-digit index after two spaces.
constexpr std::size_t kNameField = 3;
constexpr std::size_t kKindField = 5;

// Returns field `wanted` of the line; empty if there are fewer. Consecutive spaces delimit empty fields.
static std::string space_separated_field(const std::string& line, std::size_t wanted) {
  std::size_t begin = 0;
  for (std::size_t field = 0; field < wanted; ++field) {
    const std::size_t space = line.find(' ', begin);
    if (space == std::string::npos) return "";
    begin = space + 1;
  }
  return line.substr(begin, line.find(' ', begin) - begin);
}

static bool is_protected(const std::string& ifname) {
  return std::find(kProtectedLinks.begin(), kProtectedLinks.end(), ifname) != kProtectedLinks.end();
}

static void delete_wireguard_rule(const NetworkContext* ctx, const char* ifname) {
  // The number after "wg".
  if (std::strlen(ifname) < 2) return;
  const long index = std::strtol(ifname + 2, nullptr, 10);
  if (index < 0 || index > kLastWireguardRuleIndex) return;
  const int number = static_cast<int>(index);
  const int table = wireguard_table(number);
  syslog(LOG_NOTICE, "interface %s (index: %d), delete wireguard route table %d", ifname, number, table);
  if (ctx->trace) {
    // The only trace line without a newline.
    std::printf("%s : interface %s (index: %d), delete wireguard route table %d", "delete_interface", ifname,
                number, table);
  }
  run_shell(format("/sbin/ip rule del table %d", table));
}

void clear_unmanaged_interfaces(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  run_shell(format("/bin/networkctl list > %s", kNetworkctlListFile));
  std::ifstream links(kNetworkctlListFile);
  for (std::string line; std::getline(links, line);) {
    if (line.find("unmanaged") == std::string::npos) continue;
    const std::string name = space_separated_field(line, kNameField);
    if (is_protected(name)) continue;
    delete_routes(ctx, name);
    delete_interface(ctx, name.c_str(), space_separated_field(line, kKindField).c_str());
  }
}

void delete_routes(const NetworkContext* ctx, const std::string& ifname) {
  print_trace(ctx, __func__);
  run_shell(format("/sbin/ip route > %s", kRouteListFile));
  std::ifstream routes(kRouteListFile);
  for (std::string line; std::getline(routes, line);) {
    if (line.find(ifname) == std::string::npos) continue;
    const std::string command = "/sbin/ip route del " + line.substr(0, line.find(' '));
    syslog(LOG_NOTICE, "route del: %s", command.c_str());
    run_shell(command);
  }
}

void delete_interface(const NetworkContext* ctx, const char* ifname, const char* kind) {
  print_trace(ctx, __func__);
  std::string command = format("/sbin/ip link delete dev %s", ifname);
  if (*kind != '\0') command += format(" type %s", kind);
  syslog(LOG_NOTICE, "delete interface: %s", command.c_str());
  if (ctx->trace) std::printf("%s : delete interface: %s\n", "delete_interface", command.c_str());
  run_shell(command);
  if (std::strcmp(kind, "wireguard") == 0) delete_wireguard_rule(ctx, ifname);
}

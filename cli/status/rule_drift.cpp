#include "cli/status/rule_drift.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "cli/config_file/source.h"
#include "cli/live/trial_state.h"
#include "cli/status/setup_state.h"
#include "config/network_context.h"
#include "tunnels/gre.h"

constexpr char kMakeReplyTable[] = "/usr/bin/route_table_add";
// Number of the first of the tables that route replies to tunnels.
constexpr int kFirstReplyTable = 308;
constexpr int kLocalPriority = 0;
constexpr int kMainPriority = 32766;
constexpr int kDefaultPriority = 32767;

std::map<std::string, std::string> read_reply_gateways() {
  std::map<std::string, std::string> gateways;
  Source source;
  if (access(kMakeReplyTable, X_OK) != 0 || load_source(active_configuration(), source)) return gateways;
  for (const GreTunnel& tunnel : read_gre_tunnels(source.root))
    if (tunnel.is_enabled && tunnel.incoming_gateway)
      gateways[gre_tunnel_name(tunnel.index)] = *tunnel.incoming_gateway;
  return gateways;
}

// Table for the replies to a tunnel; empty for an unknown name. The tables are numbered like the tunnels.
static std::string reply_table_of(const std::string& tunnel) {
  for (int index = 0; index < 1000; ++index)
    if (gre_tunnel_name(index) == tunnel) return std::to_string(kFirstReplyTable + index);
  return "";
}

// "0xca6c" for "51820".
static std::string in_hexadecimal(const std::string& number) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%lx", std::strtoul(number.c_str(), nullptr, 10));
  return text;
}

static bool is_rule(const KernelRule& there, const RuleFacts& wanted) {
  std::string selector = wanted.is_inverted ? "not" : "";
  if (!wanted.mark.empty())
    selector += (selector.empty() ? "fwmark " : " fwmark ") + in_hexadecimal(wanted.mark);
  return there.table == wanted.table && there.suppressed == wanted.suppressed && there.selector == selector;
}

static bool is_of_kernel(const KernelRule& rule) {
  if (!rule.selector.empty() || !rule.suppressed.empty()) return false;
  return (rule.priority == kLocalPriority && rule.table == "local") ||
         (rule.priority == kMainPriority && rule.table == "main") ||
         (rule.priority == kDefaultPriority && rule.table == "default");
}

static bool is_foreign(const Snapshot& snapshot, const KernelRule& rule) {
  if (is_of_kernel(rule)) return false;
  for (const auto& [name, interface] : snapshot.wanted.interfaces) {
    const auto is_it = [&rule](const RuleFacts& wanted) { return is_rule(rule, wanted); };
    if (std::any_of(interface.rules.begin(), interface.rules.end(), is_it)) return false;
  }
  const auto& replies = snapshot.wanted.reply_gateways;
  return std::none_of(replies.begin(), replies.end(),
                      [&rule](const auto& reply) { return reply_table_of(reply.first) == rule.table; });
}

const KernelRule* diverting_rule(const Snapshot& snapshot, const std::optional<RouteChoice>& choice) {
  for (const KernelRule& rule : snapshot.kernel.rules) {
    if (!is_foreign(snapshot, rule)) continue;
    // A rule without a table drops the packets.
    if (choice ? !choice->table.empty() && rule.table == choice->table : rule.table.empty()) return &rule;
  }
  return nullptr;
}

std::string deletion_of(const KernelRule& rule) {
  return "ip rule del pref " + std::to_string(rule.priority);
}

static void compare_foreign(const Snapshot& snapshot, std::vector<Drift>& drift) {
  for (const KernelRule& rule : snapshot.kernel.rules) {
    if (!is_foreign(snapshot, rule)) continue;
    const std::string fix = deletion_of(rule);
    // Already reported together with the packets that it diverts.
    if (std::any_of(drift.begin(), drift.end(), [&fix](const Drift& one) { return one.fix == fix; }))
      continue;
    const std::string packets = rule.selector.empty() ? "any packet" : "packets " + rule.selector;
    const std::string target = rule.table.empty() ? "" : ", table " + rule.table + ",";
    drift.push_back(
        {"policy rules",
         "rule " + std::to_string(rule.priority) + " for " + packets + target + " is not configured",
         is_settling(snapshot), "packets that it matches take other routes", fix, true});
  }
}

// Without the kernel's own rules, packets do not use the tables "local" and "main".
static void compare_own_rules(const std::vector<KernelRule>& there, std::vector<Drift>& drift) {
  for (const auto& [priority, table] :
       {std::pair(kLocalPriority, "local"), std::pair(kMainPriority, "main")}) {
    const KernelRule own{priority, table, "", ""};
    const auto is_it = [&own](const KernelRule& rule) {
      return is_of_kernel(rule) && rule.priority == own.priority;
    };
    if (std::any_of(there.begin(), there.end(), is_it)) continue;
    // systemd-networkd would remove a rule of another protocol.
    const std::string fix = "ip rule add pref " + std::to_string(own.priority) + " table " + own.table;
    drift.push_back({"policy rules", "the rule for the table " + own.table + " is missing", false,
                     "packets do not take its routes", fix + " protocol kernel"});
  }
}

static void compare_wanted(const Snapshot& snapshot, std::vector<Drift>& drift) {
  const std::vector<KernelRule>& there = snapshot.kernel.rules;
  // The kernel always has rules: if there are none, they could not be read.
  if (there.empty()) return;
  compare_own_rules(there, drift);
  for (const auto& [name, interface] : snapshot.wanted.interfaces) {
    if (snapshot.kernel.links.count(name) == 0) continue;
    for (const RuleFacts& wanted : interface.rules) {
      const auto is_it = [&wanted](const KernelRule& rule) { return is_rule(rule, wanted); };
      if (std::any_of(there.begin(), there.end(), is_it)) continue;
      const bool is_pending = is_pending_at(snapshot, name);
      drift.push_back({name, "the policy rule for table " + wanted.table + " is missing", is_pending,
                       "packets do not take the routes of the tunnel",
                       is_pending ? "" : "networkctl reconfigure " + quoted_for_shell(name)});
    }
  }
}

static void compare_reply_tables(const Snapshot& snapshot, std::vector<Drift>& drift) {
  for (const auto& [tunnel, gateway] : snapshot.wanted.reply_gateways) {
    const std::string table = reply_table_of(tunnel);
    const auto& routes = snapshot.kernel.routes;
    const bool has_route = std::any_of(routes.begin(), routes.end(),
                                       [&](const KernelRoute& route) { return route.table == table; });
    if (has_route || snapshot.kernel.links.count(tunnel) == 0) continue;
    const bool is_pending = is_pending_at(snapshot, tunnel);
    const std::string fix = std::string(kMakeReplyTable) + " " + table + " " + quoted_for_shell(tunnel) +
                            " " + quoted_for_shell(gateway);
    drift.push_back({tunnel, "the routing table " + table + " for replies is empty", is_pending,
                     "replies to packets from the tunnel take another route", is_pending ? "" : fix});
  }
}

void find_rule_drift(const Snapshot& snapshot, std::vector<Drift>& drift) {
  compare_foreign(snapshot, drift);
  compare_wanted(snapshot, drift);
  compare_reply_tables(snapshot, drift);
}

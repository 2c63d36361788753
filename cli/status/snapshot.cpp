#include "cli/status/snapshot.h"

#include "cli/config_file/source.h"
#include "cli/dry_run/initial_state.h"
#include "cli/status/route_queries.h"
#include "cli/status/rule_drift.h"
#include "cli/status/service_health.h"
#include "config/network_context.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"
#include "platform/libvantor.h"

// Whether a unit applies to one link by name. Foreign units may match several links, or links by other
// properties.
static bool is_name(const std::string& text) {
  return !text.empty() && text.find_first_of("*?[! ") == std::string::npos;
}

static bool read_wanted(Snapshot& snapshot) {
  const FilesByPath files = by_path(state_of_this_machine().files);
  snapshot.wanted = read_facts(files);
  auto& interfaces = snapshot.wanted.interfaces;
  for (auto one = interfaces.begin(); one != interfaces.end();)
    one = is_name(one->first) ? std::next(one) : interfaces.erase(one);
  snapshot.wants_dnsmasq = files.count(kDnsmasqConf) != 0;
  return snapshot.wants_dnsmasq || !interfaces.empty();
}

// Whether the active configuration disables forwarding; false if it cannot be read. The units only show where
// forwarding is enabled, and while the cellular link is down, that of a pass-through port does not show it.
static bool forbids_forwarding() {
  Source source;
  if (load_source(active_configuration(), source)) return false;
  const NetworkContext context(source.root);
  return !is_router(&context) && !context.passthrough_enabled;
}

std::optional<std::string> take_snapshot(Snapshot& snapshot) {
  const bool has_files = read_wanted(snapshot);
  // A gateway whose generated files are missing still has a configuration.
  if (!(is_gateway() && has_files) && !file_exists(active_configuration().c_str())) {
    return "this machine has not been configured by cmd_lanfab";
  }
  snapshot.forbids_forwarding = forbids_forwarding();
  // The lock and the services are read first: if a run ends meanwhile, the rest of the snapshot is already
  // correct.
  snapshot.lock = read_run_lock();
  if (auto error = read_services(snapshot.services)) return error;
  if (snapshot.services[kNetworkd].is_active()) {
    snapshot.setup_error = read_setup(snapshot.setup, snapshot.network_files).value_or("");
  }
  snapshot.wanted.reply_gateways = read_reply_gateways();
  if (auto error = read_kernel(addresses_to_query(snapshot.wanted), snapshot.kernel)) return error;
  read_service_health(snapshot);
  snapshot.leases_error = read_leases(snapshot.leases).value_or("");
  snapshot.cellular = read_cellular();
  snapshot.trial = read_state();
  snapshot.last_trial = read_outcome();
  snapshot.runs_error = read_last_runs(snapshot.runs).value_or("");
  // A run that has begun meanwhile may have stopped services in order to restart them.
  if (const auto lock = read_run_lock(); lock && lock->is_held) snapshot.lock = lock;
  return std::nullopt;
}

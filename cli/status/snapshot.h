#pragma once

// A snapshot of the gateway: the state wanted by the last run, and the observed state.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/compare/facts.h"
#include "cli/live/outcome.h"
#include "cli/live/runs.h"
#include "cli/live/trial_state.h"
#include "cli/status/cellular.h"
#include "cli/status/dnsmasq_health.h"
#include "cli/status/dynamic_leases.h"
#include "cli/status/kernel.h"
#include "cli/status/networkd_units.h"
#include "cli/status/run_history.h"
#include "cli/status/services.h"

struct Snapshot {
  Facts wanted;                     // according to the files of the last run
  bool wants_dnsmasq = false;       // dnsmasq has a configuration file
  bool forbids_forwarding = false;  // the active configuration has no router and no pass-through port
  Kernel kernel;
  std::map<std::string, Service> services;
  std::map<std::string, std::string> setup;          // state in systemd-networkd, by link
  std::map<std::string, std::string> network_files;  // the .network file in use, by link
  std::string setup_error;  // why systemd-networkd could not be queried; otherwise empty
  std::map<std::string, InterfaceUnits> units;
  std::optional<DnsmasqHealth> dnsmasq;  // if it is active and its process is known
  std::vector<Lease> leases;
  std::string leases_error;  // why they could not be read; otherwise empty
  Cellular cellular;
  std::vector<LastRun> runs;
  std::string runs_error;  // why they could not be read; otherwise empty
  std::optional<RunLockState> lock;
  std::optional<TrialState> trial;
  std::optional<Outcome> last_trial;  // unless a trial is in progress
};

// Takes a snapshot. Returns nothing, or why the gateway cannot be examined. Changes nothing and starts no
// service.
std::optional<std::string> take_snapshot(Snapshot& snapshot);

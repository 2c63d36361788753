#pragma once

// A snapshot of the gateway: what the last run wanted, and what there is.

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
  Facts wanted;                     // by the files that the last run left
  bool wants_dnsmasq = false;       // there is a configuration for it
  bool forbids_forwarding = false;  // the active configuration neither routes nor passes through
  Kernel kernel;
  std::map<std::string, Service> services;
  std::map<std::string, std::string> setup;          // of each link, systemd-networkd's word
  std::map<std::string, std::string> network_files;  // of each link, the .network file in use
  std::string setup_error;  // why systemd-networkd could not be asked; otherwise empty
  std::map<std::string, InterfaceUnits> units;
  std::optional<DnsmasqHealth> dnsmasq;  // if it is active and its process is known
  std::vector<Lease> leases;
  std::string leases_error;  // why they could not be read; otherwise empty
  Cellular cellular;
  std::vector<LastRun> runs;
  std::string runs_error;  // why they could not be read; otherwise empty
  std::optional<RunLockState> lock;
  std::optional<TrialState> trial;
  std::optional<Outcome> last_trial;  // unless another one is under way
};

// Returns nothing, or why there is nothing to see. The gateway stays as it is: no service is started.
std::optional<std::string> take_snapshot(Snapshot& snapshot);

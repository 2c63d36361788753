#pragma once

// Snapshots of gateways without drift, in which the tests change the state of the kernel.

#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// A gateway with one port, whose kernel state matches its units.
inline Snapshot gateway() {
  Snapshot snapshot;
  snapshot.services[kNetworkd] = {"active", "running", "success", 0};
  snapshot.setup["eth0"] = "configured";
  snapshot.wanted.interfaces["eth0"].address = "192.168.1.1/24";
  snapshot.kernel.links["eth0"] = {true, true, 1500, "", std::nullopt, {{"192.168.1.1/24", false}}};
  snapshot.kernel.routes = {{"192.168.1.0/24", "", "eth0", 0, false, "", "kernel"}};
  return snapshot;
}

// This gateway with a second port, through which a route leads to 10.20.0.0/16.
inline Snapshot gateway_with_route() {
  Snapshot snapshot = gateway();
  InterfaceFacts& wanted = snapshot.wanted.interfaces["eth1"];
  wanted.address = "192.168.2.1/24";
  wanted.route_sections = {{"10.20.0.0/16", "192.168.2.2", "50", ""}};
  snapshot.kernel.links["eth1"] = {true, true, 1500, "", std::nullopt, {{"192.168.2.1/24", false}}};
  snapshot.kernel.routes.push_back({"192.168.2.0/24", "", "eth1", 0, false, "", "kernel"});
  snapshot.kernel.routes.push_back({"10.20.0.0/16", "192.168.2.2", "eth1", 50, false, "", "static"});
  return snapshot;
}

using FindDrift = void (*)(const Snapshot&, std::vector<Drift>&);

inline std::vector<Drift> found(FindDrift find, const Snapshot& snapshot) {
  std::vector<Drift> drift;
  find(snapshot, drift);
  return drift;
}

// Each difference as "subject: what", followed by "(pending)" if it is pending, and by "(surplus)" if it is
// something that is not configured.
inline std::vector<std::string> described(FindDrift find, const Snapshot& snapshot) {
  std::vector<std::string> texts;
  for (const Drift& drift : found(find, snapshot))
    texts.push_back(drift.subject + ": " + describe(drift) + (drift.is_surplus ? " (surplus)" : ""));
  return texts;
}

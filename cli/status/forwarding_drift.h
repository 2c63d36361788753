#pragma once

// Whether packets pass through the gateway as its units want it: forwarding and proxy ARP.

#include <optional>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Whether an interface must forward IPv4 packets; nothing where neither the units nor the configuration say.
std::optional<bool> wanted_forwarding(const Snapshot& snapshot, const InterfaceFacts& wanted);

// Adds what differs at the interfaces that the units name.
void find_forwarding_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

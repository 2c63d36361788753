#pragma once

// Compares forwarding and proxy ARP with the units.

#include <optional>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Whether an interface must forward IPv4 packets; nothing where neither the units nor the configuration say.
std::optional<bool> wanted_forwarding(const Snapshot& snapshot, const InterfaceFacts& wanted);

// Adds the differences of the interfaces that the units name.
void find_forwarding_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

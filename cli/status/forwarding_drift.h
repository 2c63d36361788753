#pragma once

// Compares the kernel's settings of forwarding and proxy ARP with the units.

#include <optional>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Whether an interface must forward IPv4 packets; nothing if neither the units nor the configuration
// determine this.
std::optional<bool> wanted_forwarding(const Snapshot& snapshot, const InterfaceFacts& wanted);

// Appends the differences for interfaces that the units name.
void find_forwarding_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

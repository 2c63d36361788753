#pragma once

// Compares the kernel's routes and policy rules with the units: missing routes, foreign routes and rules, and
// the packets that these divert.

#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Appends the differences.
void find_route_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

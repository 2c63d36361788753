#pragma once

// Compares the routes that packets take with the units: missing routes, foreign routes and policy rules, and
// the packets that they divert.

#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Adds the differences.
void find_route_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

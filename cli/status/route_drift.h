#pragma once

// Whether packets take the routes that the units want: missing routes, routes and policy rules of others, and
// what they divert.

#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Adds what differs.
void find_route_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

#pragma once

// Whether the kernel is as the units want it: links, forwarding, routes and policy rules.

#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Adds what differs, and what could not be read.
void find_kernel_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

#pragma once

// Compares links, forwarding, routes and policy rules of the kernel with the units.

#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Appends the differences, and an entry for each part of the kernel's state that could not be read.
void find_kernel_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

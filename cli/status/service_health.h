#pragma once

// Checks whether the services work and use the files of the last run.

#include <vector>

#include "cli/status/drift.h"

// Sets `units` and `dnsmasq` of a snapshot that already has its services, its kernel's state and the wanted
// facts.
void read_service_health(Snapshot& snapshot);

// Appends the drift of the services.
void add_service_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

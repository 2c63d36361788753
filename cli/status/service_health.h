#pragma once

// Checks whether the services work, and with the files of the last run.

#include <vector>

#include "cli/status/drift.h"

// Asks the services of a snapshot that has all but these fields: the units and the health of dnsmasq.
void read_service_health(Snapshot& snapshot);

// Appends the drift of the services.
void add_service_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

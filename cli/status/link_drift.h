#pragma once

// Compares links with their units: whether they exist, are up and have the right kind, settings and IPv4
// addresses.

#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Appends the differences, and leftovers of a previous configuration.
void find_link_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

// Whether an address such as "192.168.1.1/24" is the wanted one. If `wanted` has no prefix length,
// systemd-networkd adds one, so any prefix length matches.
bool is_wanted_address(const std::string& address, const std::string& wanted);

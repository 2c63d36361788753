#pragma once

// Compares the generated files of this gateway with those that the active configuration produces in a dry
// run.

#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Returns the drift of the configuration file, such as an error in it, and of the generated files, sorted by
// path. Drift is pending during a run, and for a few seconds after the cellular link has changed. Files that
// this user cannot read are added to `not_checked`.
std::vector<Drift> find_file_drift(const Snapshot& snapshot, std::vector<std::string>& not_checked);

// A time span in words, rounded down: "40 s", "12 minutes", "3 hours", "5 days".
std::string time_span(std::int64_t seconds);

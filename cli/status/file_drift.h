#pragma once

// Whether the files of the last run are those that the active configuration makes: a dry run of it, against
// the present state of this gateway.

#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// By path; an error in the configuration is drift of its file. Pending during a run, and for a few seconds
// after the cellular link has changed. Files that this user may not read are added to `not_checked`.
std::vector<Drift> find_file_drift(const Snapshot& snapshot, std::vector<std::string>& not_checked);

// A time span in words, rounded down: "40 s", "12 minutes", "3 hours", "5 days".
std::string time_span(std::int64_t seconds);

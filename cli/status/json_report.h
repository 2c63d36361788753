#pragma once

// The same for programs.

#include <json/json.h>

#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

Json::Value json_of(const Snapshot& snapshot, const std::vector<Drift>& drift);

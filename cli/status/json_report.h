#pragma once

// The JSON output of `lanfab status`.

#include <json/json.h>

#include "cli/status/findings.h"
#include "cli/status/snapshot.h"

Json::Value json_of(const Snapshot& snapshot, const StatusFindings& findings);

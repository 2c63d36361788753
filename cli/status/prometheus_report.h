#pragma once

// The state of a gateway as metrics, in the text format of Prometheus 0.0.4:
// https://prometheus.io/docs/instrumenting/exposition_formats/#text-based-format
//
// All metrics are gauges. Labels have few values: interface names and messages are only in the other formats.

#include <string>

#include "cli/status/findings.h"

// Metrics of a gateway. A metric without a known value is left out: the deadline without a trial, the last
// apply if it is not in the journal.
std::string metrics_of(const Snapshot& snapshot, const StatusFindings& findings);

// The metrics of a gateway that could not be examined.
std::string metrics_of_failure();

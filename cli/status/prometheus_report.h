#pragma once

// The state of a gateway as metrics, in the text format of Prometheus 0.0.4:
// https://prometheus.io/docs/instrumenting/exposition_formats/#text-based-format
//
// All of them are gauges. A label has few values: names of interfaces and texts are in the other formats.

#include <string>

#include "cli/status/findings.h"

// What is not known or not there has no sample: a deadline without a trial, an apply that is not in the
// journal.
std::string metrics_of(const Snapshot& snapshot, const StatusFindings& findings);

// The metrics of a gateway that could not be examined.
std::string metrics_of_failure();

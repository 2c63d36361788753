#pragma once

// The text output of `lanfab status`.

#include <string>

#include "cli/status/findings.h"
#include "cli/status/snapshot.h"

// Returns the report for a terminal with 80 columns. Lines with drift begin with "!", those with pending
// drift with "~"; with `color`, they are also colored. With `messages`, includes the messages that the runs
// wrote to the system log.
std::string text_of(const Snapshot& snapshot, const StatusFindings& findings, bool messages, bool color);

#pragma once

// What `lanfab status` prints.

#include <string>

#include "cli/status/findings.h"
#include "cli/status/snapshot.h"

// For a terminal of 80 columns. What differs has a "!" in front, what is pending a "~"; with `color` also a
// color. With `messages`, the runs come with what they wrote to the system log.
std::string text_of(const Snapshot& snapshot, const StatusFindings& findings, bool messages, bool color);

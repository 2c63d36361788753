#pragma once

#include <string>
#include <vector>

#include "cli/history/entry.h"

// A line for each entry: its number, its time, the beginning of the checksum, who, and the comment; or what
// is wrong with it.
std::string list_text(const std::vector<HistoryEntry>& entries);

#pragma once

#include <string>
#include <vector>

#include "cli/history/entry.h"

// A line for each entry: its number, its time, the beginning of the checksum, the user and the comment; or
// its damage.
std::string list_text(const std::vector<HistoryEntry>& entries);

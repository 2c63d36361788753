#pragma once

// Differences between two texts in unified diff format.

#include <cstddef>
#include <string>
#include <vector>

struct UnifiedDiff {
  std::string text;
  // Line numbers, counted from 0, of the lines only in the old text and of the lines only in the new text.
  std::vector<std::size_t> removed;
  std::vector<std::size_t> added;
};

// Returns two header lines with the names, followed by the hunks with three lines of context. Empty if both
// the texts and the names are equal.
UnifiedDiff unified_diff(const std::string& old_name, const std::string& old_text,
                         const std::string& new_name, const std::string& new_text);

#pragma once

// The unified format of a difference between two texts.

#include <cstddef>
#include <string>
#include <vector>

struct UnifiedDiff {
  std::string text;
  // The numbers of the changed lines, from 0: those only in the old text and those only in the new one.
  std::vector<std::size_t> removed;
  std::vector<std::size_t> added;
};

// The hunks, with three lines of context, below the two lines that name the texts. Empty for equal texts with
// equal names.
UnifiedDiff unified_diff(const std::string& old_name, const std::string& old_text,
                         const std::string& new_name, const std::string& new_text);

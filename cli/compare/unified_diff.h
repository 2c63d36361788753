#pragma once

// The unified format of a difference between two texts.

#include <string>

// The hunks, with three lines of context, below the two lines that name the texts. Empty for equal texts with
// equal names.
std::string unified_diff(const std::string& old_name, const std::string& old_text,
                         const std::string& new_name, const std::string& new_text);

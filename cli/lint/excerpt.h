#pragma once

// Excerpts: the line of a configuration that a finding is about, with a caret under the location.

#include <cstddef>
#include <string>

#include "cli/config_file/text_range.h"

struct ExcerptStyle {
  std::size_t columns = 80;  // of the terminal
  bool color = false;
};

// Returns two lines: the line in which the range begins, and a caret under its first character, followed by
// tildes up to its end if that is on the same line. A line that is too wide for the terminal is cut to the
// part around the range, with "…" at each cut. A tab becomes four spaces.
std::string excerpt_at(const std::string& text, TextRange range, const ExcerptStyle& style);

#pragma once

// The line of a configuration that a finding is about, with a caret under the location.

#include <cstddef>
#include <string>

#include "cli/config_file/text_range.h"

struct ExcerptStyle {
  std::size_t columns = 80;  // of the terminal
  bool color = false;
};

// Two lines: the line in which the range begins, and a caret under its beginning, followed by tildes up to
// its end if that is on the same line. Of a line that the terminal has no room for, the part around the range
// is shown, with "…" where it is cut. A tab becomes four spaces.
std::string excerpt_at(const std::string& text, TextRange range, const ExcerptStyle& style);

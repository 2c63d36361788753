#pragma once

// Whether what is printed is to be coloured.

#include <cstdlib>

// On a terminal, unless NO_COLOR is set and not empty.
inline bool wants_colour(bool is_terminal) {
  const char* no_colour = std::getenv("NO_COLOR");
  return is_terminal && (no_colour == nullptr || *no_colour == '\0');
}

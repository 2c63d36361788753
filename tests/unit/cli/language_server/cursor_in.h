#pragma once

#include <string>

#include "cli/language_server/cursor.h"

// The cursor at the character '|', which is not part of the text.
inline Cursor cursor_in(std::string text) {
  const std::size_t offset = text.find('|');
  text.erase(offset, 1);
  return cursor_at(text, static_cast<std::ptrdiff_t>(offset));
}

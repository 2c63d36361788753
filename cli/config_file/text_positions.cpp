#include "cli/config_file/text_positions.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "cli/base/terminal.h"

constexpr std::size_t kDistance = 1024;

// Moves the offset and the position past the character at `offset`.
static void step(const std::string& text, std::size_t& offset, TextPosition& position) {
  const bool is_line_end = text[offset] == '\n';
  position.line += is_line_end ? 1 : 0;
  position.column = is_line_end ? 1 : position.column + 1;
  offset += first_character(std::string_view(text).substr(offset)).size;
}

TextPositions::TextPositions(const std::string& text) : text_(text), marks_({{0, {}}}) {
  TextPosition position;
  for (std::size_t offset = 0; offset < text.size();) {
    step(text, offset, position);
    if (offset >= marks_.back().offset + kDistance) marks_.push_back({offset, position});
  }
}

TextPosition TextPositions::at(std::ptrdiff_t offset) const {
  const std::size_t end = std::min(static_cast<std::size_t>(offset), text_.size());
  const auto next = std::upper_bound(marks_.begin(), marks_.end(), end,
                                     [](std::size_t start, const Mark& mark) { return start < mark.offset; });
  auto [start, position] = *std::prev(next);
  // An offset inside a character has the position of the character.
  for (std::size_t behind = start; start < end; start = behind) {
    TextPosition following = position;
    step(text_, behind, following);
    if (behind > end) break;
    position = following;
  }
  return position;
}

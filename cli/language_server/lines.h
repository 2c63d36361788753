#pragma once

// The lines of a text, and positions in it as the Language Server Protocol counts them: line and character
// from 0, characters in UTF-16 code units.

#include <json/json.h>

#include <cstddef>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

class Lines {
 public:
  // The text must outlive the object.
  explicit Lines(std::string_view text);

  // The position of an offset: {"line", "character"}.
  Json::Value position_of(std::ptrdiff_t offset) const;
  // The positions of a range: {"start", "end"}.
  Json::Value range_of(TextRange range) const;

  // The offset of a position. A position behind the end of its line means that end, as the protocol requires.
  std::ptrdiff_t offset_of(const Json::Value& position) const;

 private:
  // The line without its line ending.
  std::string_view line_at(std::size_t number) const;

  std::string_view text_;
  std::vector<std::size_t> begins_;  // offsets of the lines; never empty
};

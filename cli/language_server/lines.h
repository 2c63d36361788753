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
  // The text must outlive this.
  explicit Lines(std::string_view text);

  // {"line", "character"} of an offset.
  Json::Value position_of(std::ptrdiff_t offset) const;
  // {"start", "end"}
  Json::Value range_of(TextRange range) const;

  // The offset of a position; one behind the end of its line is that end, as the protocol has it.
  std::ptrdiff_t offset_of(const Json::Value& position) const;

 private:
  // The line without its end.
  std::string_view line_at(std::size_t number) const;

  std::string_view text_;
  std::vector<std::size_t> begins_;  // of each line; never empty
};

#include "cli/language_server/lines.h"

#include <algorithm>

#include "cli/base/terminal.h"
#include "config/lookup.h"

// The number of UTF-16 code units of a character.
static std::size_t units_of(const Utf8Character& character) {
  return character.code > 0xffff ? 2 : 1;
}

Lines::Lines(std::string_view text) : text_(text), begins_{0} {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (text[i] == '\n') begins_.push_back(i + 1);
}

std::string_view Lines::line_at(std::size_t number) const {
  const std::string_view rest = text_.substr(begins_[number]);
  return rest.substr(0, rest.find_first_of("\r\n"));
}

Json::Value Lines::position_of(std::ptrdiff_t offset) const {
  const std::size_t clamped = std::min(static_cast<std::size_t>(offset), text_.size());
  const auto next = std::upper_bound(begins_.begin(), begins_.end(), clamped);
  const auto number = static_cast<std::size_t>(next - begins_.begin()) - 1;
  std::string_view head = text_.substr(begins_[number], clamped - begins_[number]);
  std::size_t units = 0;
  while (!head.empty()) {
    const Utf8Character character = first_character(head);
    units += units_of(character);
    head.remove_prefix(character.size);
  }
  Json::Value position(Json::objectValue);
  position["line"] = Json::UInt64{number};
  position["character"] = Json::UInt64{units};
  return position;
}

Json::Value Lines::range_of(TextRange range) const {
  Json::Value value(Json::objectValue);
  value["start"] = position_of(range.begin);
  value["end"] = position_of(range.end);
  return value;
}

std::ptrdiff_t Lines::offset_of(const Json::Value& position) const {
  const int line = std::max(number_at(position, "line").value_or(0), 0);
  if (static_cast<std::size_t>(line) >= begins_.size()) return static_cast<std::ptrdiff_t>(text_.size());
  std::string_view rest = line_at(static_cast<std::size_t>(line));
  const char* at = rest.data();
  int units = number_at(position, "character").value_or(0);
  while (!rest.empty() && units > 0) {
    const Utf8Character character = first_character(rest);
    units -= static_cast<int>(units_of(character));
    rest.remove_prefix(character.size);
    at = rest.data();
  }
  return at - text_.data();
}

#pragma once

// Ranges of a configuration's text.

#include <json/json.h>

#include <cstddef>
#include <string>

struct TextRange {
  std::ptrdiff_t begin = 0;  // offsets in bytes
  std::ptrdiff_t end = 0;    // after the last byte
};

// An additional location in a message.
struct RelatedLocation {
  TextRange range;
  std::string message;  // "already the network of eth0"
};

// A replacement of a range of the text. An empty range is an insertion before its offset.
struct Edit {
  TextRange range;
  std::string replacement;
};

// Range of the text that a value was parsed from, with the quotes of a string.
inline TextRange range_of(const Json::Value& value) {
  return {value.getOffsetStart(), value.getOffsetLimit()};
}

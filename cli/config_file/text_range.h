#pragma once

// A piece of a configuration's text.

#include <json/json.h>

#include <cstddef>
#include <string>

struct TextRange {
  std::ptrdiff_t begin = 0;  // offsets in bytes
  std::ptrdiff_t end = 0;    // behind the last byte
};

// A second location that a message is about.
struct RelatedLocation {
  TextRange range;
  std::string message;  // "already the network of eth0"
};

// A replacement of a piece of the text. An empty range is an insertion in front of its offset.
struct Edit {
  TextRange range;
  std::string replacement;
};

// The text that a value was parsed from, with the quotes of a string.
inline TextRange range_of(const Json::Value& value) {
  return {value.getOffsetStart(), value.getOffsetLimit()};
}

#pragma once

// Finds the key or value at an offset of a configuration that is being edited. The text need
// not be valid JSON.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

// The key of a member; nullopt for an element of an array.
using PathStep = std::optional<std::string>;

struct Cursor {
  enum class Kind { kKey, kValue, kElsewhere };

  Kind kind = Kind::kElsewhere;
  // The path from the root of the configuration to the value or, for a key, to the object that contains it.
  std::vector<PathStep> path;
  // The range of the key or value as far as it is written, with its quotes; empty if nothing is written yet.
  TextRange token;
  bool is_quoted = false;
  std::string key;  // the text of the key, without quotes
  // For a key, the other keys of its object.
  std::vector<std::string> other_keys;
  bool has_colon = false;  // a colon follows the key
};

Cursor cursor_at(std::string_view text, std::ptrdiff_t offset);

#pragma once

// What is at an offset of a configuration that somebody is writing: its text need not be valid JSON.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

// The key of a member; nothing for an element of an array.
using PathStep = std::optional<std::string>;

struct Cursor {
  enum class Kind { kKey, kValue, kElsewhere };

  Kind kind = Kind::kElsewhere;
  // From the configuration to the value or, for a key, to the object that has it.
  std::vector<PathStep> path;
  // The key or the value as far as it is written, with its quotes; empty where there is none yet.
  TextRange token;
  bool is_quoted = false;
  std::string key;  // its text
  // The other keys of the object, for a key.
  std::vector<std::string> other_keys;
  bool has_colon = false;  // behind the key
};

Cursor cursor_at(std::string_view text, std::ptrdiff_t offset);

#pragma once

// Finds deceptive characters: characters without width, spaces other than U+0020, and letters and
// punctuation that look like ASCII characters.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

// A character that is invisible or looks like another one.
struct DeceptiveCharacter {
  enum class Kind { kInvisible, kSpace, kLookalike, kQuote };

  Kind kind;
  std::string description;  // "U+200B ZERO WIDTH SPACE", "Cyrillic е (U+0435)"
  std::string meant;        // probable replacement: "", " ", "e", "\""
};

// Describes a deceptive character; nothing for any other character.
std::optional<DeceptiveCharacter> find_deception(char32_t code);

// "U+00E4"
std::string code_point(char32_t code);

// A character of a JSON string, which may be written as an escape.
struct StringCharacter {
  char32_t code;
  TextRange range;
};

// The characters of a JSON string, whose range includes its quotes. The text must be valid JSON.
std::vector<StringCharacter> string_characters(const std::string& text, TextRange string);

// The string without invisible characters and surrounding blanks, and with ASCII characters in place of
// spaces and letters that look like them.
std::string plain_text(const std::string& text);

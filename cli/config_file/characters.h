#pragma once

// Characters that cannot be seen or told from others: those without width, spaces other than the usual one,
// and letters and marks that look like ones of ASCII.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

// A character that cannot be seen, or that looks like another one.
struct DeceptiveCharacter {
  enum class Kind { kInvisible, kSpace, kLookalike, kQuote };

  Kind kind;
  std::string description;  // "U+200B ZERO WIDTH SPACE", "Cyrillic е (U+0435)"
  std::string meant;        // what it was probably to be: "", " ", "e", "\""
};

// Nothing for any other character.
std::optional<DeceptiveCharacter> find_deception(char32_t code);

// "U+00E4"
std::string code_point(char32_t code);

// A character of a JSON string, which an escape may stand for.
struct StringCharacter {
  char32_t code;
  TextRange range;
};

// The characters of a string of a valid text, given with its quotes.
std::vector<StringCharacter> string_characters(const std::string& text, TextRange string);

// A string without the characters that cannot be seen and the white space around it, and with characters of
// ASCII instead of the characters that look like it.
std::string plain_text(const std::string& text);

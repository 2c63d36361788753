#pragma once

// Parts of explain_parse_error() (cli/config_file/syntax.h): a function for each kind of cause, which returns
// nothing if the cause is of another kind.

#include <cstddef>
#include <optional>
#include <string>

#include "cli/config_file/json_tokens.h"
#include "cli/config_file/syntax.h"

inline TextRange range_of(std::size_t begin, std::size_t end) {
  return {static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(end)};
}

inline TextRange range_of(const Token& token) {
  return range_of(token.begin, token.end);
}

inline Edit insertion(std::size_t offset, std::string text) {
  return {range_of(offset, offset), std::move(text)};
}

// The key for a message, with its quotes: "\"ipv4\"". Returns `otherwise` if it is long or does not look
// like a key.
std::string quoted_key(const std::string& text, const Token& key, const char* otherwise);

// Whether the token begins a value, even one that is not JSON: a word, or a string in single quotes.
bool begins_value(const std::string& text, const Token& token);

// A text that is empty or in another encoding.
std::optional<SyntaxError> find_wrong_encoding(const std::string& text);

// A character that is not JSON, such as a no-break space, at the stop.
std::optional<SyntaxError> find_odd_character(const std::string& text, const Stop& stop);

// Quotes that are missing, of another kind, or one too many.
std::optional<SyntaxError> find_wrong_quotes(const std::string& text, const Stop& stop);

// A word or a number that is not JSON, such as True or 0x1F, at the stop.
std::optional<SyntaxError> find_wrong_word(const std::string& text, const Stop& stop);

// A bracket that is not closed, is closed by one of the other kind, or is closed too early.
std::optional<SyntaxError> find_wrong_bracket(const std::string& text, const Stop& stop);

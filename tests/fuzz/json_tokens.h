#pragma once

// A scanner of JSON texts that shares nothing with the parser of the programs: a second opinion about where
// each value and each key is.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// A value in a text, its bytes from `begin` up to `end`.
struct JsonToken {
  std::size_t begin = 0;
  std::size_t end = 0;
  // Where the key of a member begins; npos for any other value.
  std::size_t key = std::string::npos;
};

// The values of a JSON text, in the order in which they begin. Nothing if the text is anything but one value.
// Two things are not JSON, but jsoncpp allows them even when it is strict: comments in front of a key and
// behind a member or an element, and a comma behind a member whose key is empty.
std::optional<std::vector<JsonToken>> scan_json(const std::string& text);

// Whether the text may have a comment. Behind one, jsoncpp takes any token for a comma, so that it accepts
// what scan_json() does not.
bool may_have_comment(const std::string& text);

// The text with more line ends, tabs and spaces around its keys and values.
std::string spread_json(const std::string& text, const std::vector<JsonToken>& tokens);

// Line and column of an offset, both from 1, as "3:14".
std::string line_and_column(const std::string& text, std::size_t offset);

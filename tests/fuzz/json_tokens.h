#pragma once

// A scanner of JSON that is independent of the programs' parser, to check the offsets of values and keys.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// A value in a text, from byte `begin` to before `end`.
struct JsonToken {
  std::size_t begin = 0;
  std::size_t end = 0;
  // Offset of a member's key; npos for any other value.
  std::size_t key = std::string::npos;
};

// Returns the values of a JSON text, in the order of their offsets. Nothing if the text is not a single
// value. Accepts two things that are not JSON, but that jsoncpp's strict mode allows: comments before a key
// and after a member or an element, and a comma after a member with an empty key.
std::optional<std::vector<JsonToken>> scan_json(const std::string& text);

// Whether the text may have a comment. After one, jsoncpp accepts any token as a comma, and thus texts that
// scan_json() rejects.
bool may_have_comment(const std::string& text);

// Returns the text with more line ends, tabs and spaces around its keys and values.
std::string spread_json(const std::string& text, const std::vector<JsonToken>& tokens);

// Returns line and column of an offset, both from 1, as "3:14".
std::string line_and_column(const std::string& text, std::size_t offset);

#pragma once

// A JSON scanner that is independent of the parser of lanfab. It is used to check the offsets of values and
// keys.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// The position of a value: from byte `begin` up to, but not including, byte `end`.
struct JsonToken {
  std::size_t begin = 0;
  std::size_t end = 0;
  // Offset of a member's key; npos for any other value.
  std::size_t key = std::string::npos;
};

// Returns the values of a JSON text, in the order of their offsets; nullopt if the text is not a single
// value. Accepts two extensions of jsoncpp's strict mode: comments before a key and after a member or an
// element, and a trailing comma after a member with an empty key.
std::optional<std::vector<JsonToken>> scan_json(const std::string& text);

// Whether the text may contain a comment. After a comment, jsoncpp accepts any token as a comma, so it
// accepts texts that scan_json() rejects.
bool may_have_comment(const std::string& text);

// Returns the text with a newline, a tab and a space inserted before each key, and before and after each
// value.
std::string spread_json(const std::string& text, const std::vector<JsonToken>& tokens);

// Returns the line and column of an offset as "3:14". Both count from 1, and columns count bytes.
std::string line_and_column(const std::string& text, std::size_t offset);

#pragma once

// Reads and parses a configuration, and locates errors in it.

#include <json/json.h>

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

// Both count from 1; columns are bytes.
struct Position {
  int line = 1;
  int column = 1;
};

// An error in a configuration, and its location.
struct ParseError {
  Position position;
  std::string reason;
};

// Reads to the end of the stream. Returns nothing on success; otherwise the error of the stream, or that the
// configuration is too large.
std::optional<std::string> read_configuration(std::FILE* file, std::string& text);

// Parses strict JSON with an object as its root. Returns nothing on success, otherwise the first error.
std::optional<ParseError> parse_configuration(const std::string& text, Json::Value& root);

// Returns the location of the byte at `offset`.
Position position_of(const std::string& text, std::ptrdiff_t offset);

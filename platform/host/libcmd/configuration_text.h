#pragma once

// The text of a configuration: reading and parsing it, and the place of what is wrong in it.

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

// What is wrong with a text, and where.
struct Complaint {
  Position position;
  std::string reason;
};

// Reads to the end of the stream. Returns nothing, or why it failed: the error of the stream, or a text that
// is larger than a configuration may be.
std::optional<std::string> read_configuration(std::FILE* file, std::string& text);

// Parses strict JSON with an object as its root. Returns nothing, or what is wrong with it first.
std::optional<Complaint> parse_configuration(const std::string& text, Json::Value& root);

// The place of the byte at `offset`.
Position position_of(const std::string& text, std::ptrdiff_t offset);

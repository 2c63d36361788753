#pragma once

// A configuration to be examined: its text, and the tree that it parses to.

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>

#include "cli/config_file/syntax.h"
#include "cli/config_file/text_range.h"

struct Source {
  std::string name;  // as it was given
  std::string text;
  Json::Value root;  // each value knows its offset in the text
};

// Reads the name and the text of a file, without a look at what it says. Returns nothing, or a message that
// says why it cannot be read.
std::optional<std::string> read_source(const std::string& file, Source& source);

// Why a configuration cannot be examined.
struct LoadFailure {
  // "network.json: Permission denied", "network.json:2:8: error: one comma too many [syntax]"
  std::string message;
  std::optional<SyntaxError> syntax;  // if the file could be read
};

// Parses the text of a source to its tree.
std::optional<LoadFailure> parse_source(Source& source);

// Loads a file; "-" is standard input. Source has the text unless the file cannot be read.
std::optional<LoadFailure> load_source(const std::string& file, Source& source);

// The key of an object's member, with its quotes, given the member's value.
TextRange key_range(const std::string& text, const Json::Value& value);

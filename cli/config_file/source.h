#pragma once

// Loads a configuration: its text, and the parsed value.

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>

#include "cli/config_file/syntax.h"
#include "cli/config_file/text_range.h"

struct Source {
  std::string name;  // for messages: a file name as given, or "<stdin>"
  std::string text;
  Json::Value root;  // each value has its offsets in the text
};

// Sets the name, and reads the text of a file without parsing it. Returns nothing on success; otherwise an
// error message.
std::optional<std::string> read_source(const std::string& file, Source& source);

// Error because of which a configuration cannot be examined.
struct LoadFailure {
  // "network.json: Permission denied", "network.json:2:8: error: one comma too many [syntax]"
  std::string message;
  std::optional<SyntaxError> syntax;  // set if the parser rejects the text
};

// Parses the text of a source and sets its root. Returns nothing on success.
std::optional<LoadFailure> parse_source(Source& source);

// Reads and parses a file; "-" is standard input. `source` has the text unless the file cannot be read.
// Returns nothing on success.
std::optional<LoadFailure> load_source(const std::string& file, Source& source);

// Range of the key of an object's member, with its quotes, given the member's value.
TextRange key_range(const std::string& text, const Json::Value& value);

#pragma once

// Proposals and descriptions for the key or value at the cursor, from the schema of the configuration.

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/language_server/cursor.h"

// A key or value that is possible at the cursor.
struct Proposal {
  enum class Kind { kKey, kValue };

  Kind kind;
  std::string label;        // "enable"
  std::string replacement;  // replaces the text in replaced_range(): "\"enable\": "
  std::string detail;       // the type of the key or value
  std::string description;
};

// The range of the cursor's token without its opening quote: editors compare its text with the label.
TextRange replaced_range(const Cursor& cursor);

// For a key, the keys that the object does not have yet; for a value, the allowed values or examples.
std::vector<Proposal> proposals_at(const Cursor& cursor);

// The type, limits, default and description of the key or value, in Markdown; empty if the
// schema does not contain it.
std::string description_at(const Cursor& cursor);

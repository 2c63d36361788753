#pragma once

// What the schema of the configuration says about the value at the cursor.

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/language_server/cursor.h"

// A key or value that may stand at the cursor.
struct Proposal {
  enum class Kind { kKey, kValue };

  Kind kind;
  std::string label;        // "enable"
  std::string replacement;  // of the text in replaced_range(): "\"enable\": "
  std::string detail;       // its type
  std::string description;
};

// The cursor's token without its first quote: editors compare what is there with the label.
TextRange replaced_range(const Cursor& cursor);

// The keys that the object does not have yet, or the words and examples of the value.
std::vector<Proposal> proposals_at(const Cursor& cursor);

// The description of the key or value in Markdown: its type, limits and default. Empty where the schema has
// none.
std::string description_at(const Cursor& cursor);

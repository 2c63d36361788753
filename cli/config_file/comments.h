#pragma once

// Comments in a configuration. The parser accepts comments only above a key, and after the value of a key
// or an item of an array.

#include <string>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

struct Comment {
  TextRange range;    // with its delimiters
  TextRange content;  // after the mark
  // The text that the comment applies to. If something precedes the comment on its line, that line.
  // Otherwise the next setting, from its key to the end of its value; empty if no setting follows in the
  // same object or array.
  TextRange scope;
};

// The comments that begin with the mark, in the order of the text, which must be parsable.
std::vector<Comment> marked_comments(const std::string& text, std::string_view mark);

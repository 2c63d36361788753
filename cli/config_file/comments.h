#pragma once

// Comments in a configuration. The parser accepts them above a key, and behind a key's value or an array's
// item; nowhere else.

#include <string>
#include <string_view>
#include <vector>

#include "cli/config_file/text_range.h"

struct Comment {
  TextRange range;    // with its delimiters
  TextRange content;  // behind the mark
  // What the comment is about. Behind something else on its line: that line. Otherwise the next setting, from
  // its key to the end of its value; empty if none follows in the same object or array.
  TextRange scope;
};

// The comments that begin with the mark, in the order of a text that can be parsed.
std::vector<Comment> marked_comments(const std::string& text, std::string_view mark);

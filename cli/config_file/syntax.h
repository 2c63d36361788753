#pragma once

// Explains syntax errors to people. The parser only names the token that it did not expect.

#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/text_range.h"
#include "libcmd/configuration_text.h"

// The rule under which `lanfab check` reports syntax errors.
inline constexpr char kSyntaxRule[] = "syntax";

// An error in a text that the parser has rejected, at the location of its cause.
struct SyntaxError {
  TextRange range;
  std::string message;
  std::vector<RelatedLocation> related;
  std::vector<Edit> fix;  // empty unless it is certain
};

// Finds the cause of the parser's error about `text`. If it cannot be found, returns the error
// itself.
SyntaxError explain_parse_error(const std::string& text, const ParseError& parse_error);

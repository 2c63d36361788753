#pragma once

// Why a text is not a configuration, in words for people, where the parser of the program only names the
// token that it did not expect.

#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/text_range.h"
#include "libcmd/configuration_text.h"

// The rule of `lanfab check` that reports it.
inline constexpr char kSyntaxRule[] = "syntax";

// What is wrong with a text that the parser has refused, at the location of the cause.
struct SyntaxError {
  TextRange range;
  std::string message;
  std::vector<RelatedLocation> related;
  std::vector<Edit> fix;  // empty unless it is certain
};

// The cause of the parser's complaint about `text`. Where it cannot be found, that is the complaint itself.
SyntaxError explain_complaint(const std::string& text, const Complaint& complaint);

#pragma once

// Reports of findings as text, and their summary.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"
#include "cli/lint/finding.h"

struct Summary {
  std::size_t files = 0;
  std::size_t errors = 0;
  std::size_t warnings = 0;
  std::size_t allowed = 0;
};

// "error" or "warning".
const char* word_for(Severity severity);

// Adds the findings in one file to the summary.
void count(const Judgement& judgement, Summary& summary);

// The text of the configuration with asterisks in place of secret keys. Each byte keeps its offset.
std::string text_without_secrets(const Source& source);

struct TextStyle {
  bool excerpt = false;      // with the line of the configuration and a caret under the location
  bool color = false;        // for a terminal
  std::size_t columns = 80;  // of the terminal, for which excerpts are cut
};

// One line for each finding, in the format of compilers, with a note for each related location and for each
// edit of a fix that the message does not mention. The findings are in file order. A line for each rule with
// unlisted findings follows, with their number.
std::string text_report(const Source& source, const std::vector<Finding>& findings, const TextStyle& style);

// "2 errors and 1 warning in 3 files", and how many findings are allowed if any are.
std::string text_of(const Summary& summary);

#pragma once

// Findings as a reader or a program wants them.

#include <cstddef>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

struct Summary {
  std::size_t files = 0;
  std::size_t errors = 0;
  std::size_t warnings = 0;
};

// "error" or "warning".
const char* word_for(Severity severity);

void count(const std::vector<Finding>& findings, Summary& summary);

// As a compiler does: one line for each finding; with `excerpt` also the line of the configuration and a
// caret under the place; with `color` for a terminal. The findings are in the order of the text. Behind them
// stands for each rule how many more it found.
std::string text_report(const Source& source, const std::vector<Finding>& findings, bool excerpt, bool color);

// "2 errors and 1 warning in 3 files"
std::string text_of(const Summary& summary);

// An object with the name of the file and the list of its findings, which are in the order of the text, too,
// and how many more each rule found, if any did.
Json::Value json_report(const Source& source, const std::vector<Finding>& findings);

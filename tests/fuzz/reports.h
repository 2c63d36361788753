#pragma once

#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// Checks the text report of findings, which must be in the order of the file: each finding has a line with
// its location; in an excerpt, the caret is under its first character; colors change nothing else.
void check_text_report(const Source& source, const std::vector<Finding>& findings);

// Checks the JSON report of findings: it has an entry for each one, with all its members.
void check_json_report(const Source& source, const std::vector<Finding>& findings);

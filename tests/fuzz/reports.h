#pragma once

#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// Checks the output of `lanfab check` about findings, in the order of the text: a line for each, with its
// location; with excerpts, the caret under the right character; the same in color.
void check_text_report(const Source& source, const std::vector<Finding>& findings);

// Checks the JSON report of findings.
void check_json_report(const Source& source, const std::vector<Finding>& findings);

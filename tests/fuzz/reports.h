#pragma once

#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// Checks what `lanfab check` prints about findings, which are in the order of the text: a line for each, with
// its location; with excerpts, the caret under the character that it is about; the same in color.
void check_text_report(const Source& source, const std::vector<Finding>& findings);

// The same in JSON.
void check_json_report(const Source& source, const std::vector<Finding>& findings);

#pragma once

// Findings as workflow commands of GitHub Actions, which shows them next to the lines of a pull request.

#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// One line for each finding, whose message includes its related locations. A line for each rule with
// unlisted findings follows, with their number.
std::string github_report(const Source& source, const std::vector<Finding>& findings);

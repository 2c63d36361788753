#pragma once

// Findings as workflow commands of GitHub Actions, which shows them beside the lines of a pull request.

#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// A line for each finding; its message has the related locations, too. Behind them stands for each rule how
// many more it found.
std::string github_report(const Source& source, const std::vector<Finding>& findings);

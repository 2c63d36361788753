#pragma once

// Findings as JSON for other programs.

#include <json/json.h>

#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// An object with the name of the file, the list of its findings, and how many more each rule found, if any
// did. Lines and columns are those of text_report(), and an end is the position behind the last character.
Json::Value json_report(const Source& source, const std::vector<Finding>& findings);

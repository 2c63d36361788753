#pragma once

// Descriptions of fixes in words.

#include <string>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// Describes one edit of a finding's fix as an instruction: "replace with 24", "insert "netmask": 24",
// "remove " "". Empty if the finding's message already contains it: "did you mean "enable"?".
std::string advice_of(const std::string& text, const Finding& finding, const Edit& edit);

// Describes what a fix has changed, given the text before the fix: ""24" is now 24".
std::string change_of(const std::string& text, const std::vector<Edit>& fix);

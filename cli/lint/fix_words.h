#pragma once

// Fixes, as people read them.

#include <string>

#include "cli/config_file/source.h"
#include "cli/lint/finding.h"

// What to do to fix a finding, with one of the edits of its fix: "replace with 24", "insert "netmask": 24",
// "remove " "". Empty if the finding's message asks "did you mean "enable"?".
std::string advice_of(const std::string& text, const Finding& finding, const Edit& edit);

// What a fix has changed, given the text before it: ""24" is now 24".
std::string change_of(const std::string& text, const std::vector<Edit>& fix);

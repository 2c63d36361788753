#pragma once

// All that is found in a configuration, as `lanfab check` reports it.

#include <functional>
#include <string>
#include <vector>

#include "cli/config_file/syntax.h"
#include "cli/lint/allow.h"
#include "cli/lint/site.h"

// Adds to what the rules find.
using Examiner = std::function<void(const Site& site, std::vector<Finding>& findings)>;

// What the rules find, and `other` if it is given, with the fixes that are certain. What one of the rules
// `allowed` finds is allowed.
Judgement judge(Source& source, const std::vector<std::string>& allowed, const Examiner& other = nullptr);

// Nothing else is found in a text that cannot be parsed.
Judgement judgement_of(const SyntaxError& error);

#pragma once

// Collects all findings in a configuration, as `lanfab check` reports them.

#include <functional>
#include <string>
#include <vector>

#include "cli/config_file/syntax.h"
#include "cli/lint/allow.h"
#include "cli/lint/site.h"

// Adds findings to those of the rules.
using Examiner = std::function<void(const Site& site, std::vector<Finding>& findings)>;

// Returns the findings of the rules, and those of `other` if it is given, with the fixes that are certain.
// Findings of the rules in `allowed` are allowed.
Judgement judge(Source& source, const std::vector<std::string>& allowed, const Examiner& other = nullptr);

// Returns the syntax error as the only finding in a text that cannot be parsed.
Judgement judgement_of(const SyntaxError& error);

#pragma once

// The entries of docs/checks.md, which explains the rules.

#include <string>
#include <string_view>

#include "cli/lint/rules.h"

// The entry of a rule for a terminal: from its heading to the next one, without the marks of headings and
// code blocks. Examples are indented.
std::string entry_of(const Rule& rule);

// The text of the entry, without its heading and examples.
std::string_view explanation_of(const Rule& rule);

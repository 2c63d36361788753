#pragma once

// docs/checks.md, which explains the rules.

#include <string>
#include <string_view>

#include "cli/lint/rules.h"

// The entry of a rule for a terminal: from its heading, without the marks of the format, to the next heading.
// Examples are indented.
std::string entry_of(const Rule& rule);

// What the entry says: all of it but its heading and its examples.
std::string_view explanation_of(const Rule& rule);

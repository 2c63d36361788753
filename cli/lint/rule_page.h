#pragma once

// docs/checks.md, which explains the rules.

#include <string_view>

#include "cli/lint/rules.h"

// The entry of a rule: from its heading, without the marks of the format, to the next heading.
std::string_view entry_of(const Rule& rule);

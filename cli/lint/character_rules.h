#pragma once

// Characters that a reader does not see, or takes for others, in keys and in strings that the program reads.
// They are why a key is unknown or a string is not what it seems to be, so nothing else is reported there.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void invisible_character(const Site& site, Findings& findings);
void lookalike_character(const Site& site, Findings& findings);
void surrounding_space(const Site& site, Findings& findings);

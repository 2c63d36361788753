#pragma once

// Rules about invisible and lookalike characters in keys and in strings that the program reads. They are why
// a key is unknown or a string is not what it seems to be, so `examine` drops findings of most other rules
// at the same location.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void invisible_character(const Site& site, Findings& findings);
void lookalike_character(const Site& site, Findings& findings);
void surrounding_space(const Site& site, Findings& findings);

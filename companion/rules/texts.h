#pragma once

// Texts that would become a directive, a command or a path.

#include "companion/rules/site.h"
#include "companion/source/finding.h"

void text_refused(const Site& site, Findings& findings);

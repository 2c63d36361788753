#pragma once

// Texts that would become a directive, a command or a path.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void text_refused(const Site& site, Findings& findings);

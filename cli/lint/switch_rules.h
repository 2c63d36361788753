#pragma once

// Rules about settings that have no effect because the key that enables them is missing, and about a gateway
// that cannot be reached. An explicit false is taken as intended.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void enable_missing(const Site& site, Findings& findings);
void switch_missing(const Site& site, Findings& findings);
void locked_out(const Site& site, Findings& findings);

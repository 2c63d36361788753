#pragma once

// Settings that have no effect because what switches them on is missing. An explicit false is a decision.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void enable_missing(const Site& site, Findings& findings);
void switch_missing(const Site& site, Findings& findings);
void locked_out(const Site& site, Findings& findings);

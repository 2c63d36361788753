#pragma once

// The interfaces that static routes name.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void route_without_interface(const Site& site, Findings& findings);

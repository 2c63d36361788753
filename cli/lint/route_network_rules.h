#pragma once

// Rules about static routes to networks that the gateway itself is in.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void route_to_own_network(const Site& site, Findings& findings);
void route_inside_network(const Site& site, Findings& findings);

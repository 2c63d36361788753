#pragma once

// Static routes to networks that the gateway is in itself.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void route_to_own_network(const Site& site, Findings& findings);
void route_inside_network(const Site& site, Findings& findings);

#pragma once

// The rule about the interfaces of static routes.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void route_without_interface(const Site& site, Findings& findings);

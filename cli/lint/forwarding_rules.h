#pragma once

// Whether the gateway forwards between its networks.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void forwarding_off(const Site& site, Findings& findings);

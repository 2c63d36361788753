#pragma once

// The rule about forwarding between the gateway's networks.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void forwarding_off(const Site& site, Findings& findings);

#pragma once

// DHCP servers: their fixed leases, their ranges, their lease times.

#include "companion/rules/site.h"
#include "companion/source/finding.h"

void lease_address_twice(const Site& site, Findings& findings);

#pragma once

// Rules about the interfaces' own addresses, netmasks and MTUs.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void address_malformed(const Site& site, Findings& findings);
void address_unusable(const Site& site, Findings& findings);
void secondary_address_missing(const Site& site, Findings& findings);
void netmask_out_of_range(const Site& site, Findings& findings);
void netmask_guessed(const Site& site, Findings& findings);
void subnet_twice(const Site& site, Findings& findings);
void subnets_overlap(const Site& site, Findings& findings);
void mtu_out_of_range(const Site& site, Findings& findings);
void mtu_raised(const Site& site, Findings& findings);
void mtu_above_link(const Site& site, Findings& findings);

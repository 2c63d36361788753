#pragma once

// Rules about the LAN bridge and its members.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void bridge_member_unknown(const Site& site, Findings& findings);
void bridge_member_not_a_name(const Site& site, Findings& findings);
void bridge_member_twice(const Site& site, Findings& findings);
void bridge_member_passthrough(const Site& site, Findings& findings);
void bridge_member_disabled(const Site& site, Findings& findings);
void bridge_member_client(const Site& site, Findings& findings);
void bridge_without_members(const Site& site, Findings& findings);
void bridge_primary_missing(const Site& site, Findings& findings);
void bridge_primary_not_a_member(const Site& site, Findings& findings);
void bridge_primary_disabled(const Site& site, Findings& findings);
void bridge_primary_without_network(const Site& site, Findings& findings);

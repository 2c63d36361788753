#pragma once

// Rules about the network of the LAN bridge, which is that of its primary member, and the networks of the
// other members, which are ignored.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

// Whether the bridge is enabled, but has no usable network because of its primary. Findings about the other
// members would only be consequences.
bool is_bridge_primary_wrong(const Site& site);

void bridge_primary_without_address(const Site& site, Findings& findings);
void bridge_without_address(const Site& site, Findings& findings);
void bridge_member_service(const Site& site, Findings& findings);
void bridge_member_address(const Site& site, Findings& findings);

#pragma once

// Rules about VLANs, and about interface names that are too long.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void vlan_id_missing(const Site& site, Findings& findings);
void vlan_id_out_of_range(const Site& site, Findings& findings);
void vlan_id_twice(const Site& site, Findings& findings);
void vlan_without_network(const Site& site, Findings& findings);
void vlan_of_bridge_member(const Site& site, Findings& findings);
void interface_name_too_long(const Site& site, Findings& findings);

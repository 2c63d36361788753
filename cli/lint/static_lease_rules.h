#pragma once

// Rules about the static leases of the DHCP servers, which reserve an address for a MAC address.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void lease_address_twice(const Site& site, Findings& findings);
void lease_address_malformed(const Site& site, Findings& findings);
void lease_address_unusable(const Site& site, Findings& findings);
void lease_mac_malformed(const Site& site, Findings& findings);
void lease_mac_twice(const Site& site, Findings& findings);
void lease_by_name(const Site& site, Findings& findings);

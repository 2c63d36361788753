#pragma once

// DHCP servers: what they lack, their ranges, their lease times.

#include <string>
#include <unordered_set>

#include "cli/lint/finding.h"
#include "cli/lint/site.h"
#include "dnsmasq/passthrough.h"

void server_incomplete(const Site& site, Findings& findings);
void vlan_server_unserved(const Site& site, Findings& findings);
void server_on_disabled_port(const Site& site, Findings& findings);
void disabled_vlan_refused(const Site& site, Findings& findings);
void range_malformed(const Site& site, Findings& findings);
void range_outside_subnet(const Site& site, Findings& findings);
void range_over_reserved(const Site& site, Findings& findings);
void range_reversed(const Site& site, Findings& findings);
void range_overlap(const Site& site, Findings& findings);
void range_over_passthrough(const Site& site, Findings& findings);
void lease_time_malformed(const Site& site, Findings& findings);
void lease_time_short(const Site& site, Findings& findings);

// Whether the pass-through port ever serves DHCP as such while the cellular link is up.
bool serves_passthrough(const Site& site, const Interface& interface);

// The range that the port, in static pass-through, serves instead of the cellular address.
std::optional<PassthroughRange> passthrough_range(const Site& site, const Interface& interface);

// The interfaces that range_over_passthrough finds: that their networks overlap the port's follows from it.
std::unordered_set<std::string> interfaces_over_passthrough(const Site& site);

// The enabled port in pass-through mode; null when there is none.
const Interface* find_passthrough_port(const Site& site);

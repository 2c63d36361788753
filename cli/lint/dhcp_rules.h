#pragma once

// Rules about DHCP servers: missing settings, address ranges and lease times.

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

// Whether the pass-through port ever serves DHCP as such, not as an ordinary LAN port, while the cellular
// link is up.
bool serves_passthrough(const Site& site, const Interface& interface);

// The range that the port, in static pass-through, serves instead of the cellular address; nothing if there
// is none.
std::optional<PassthroughRange> passthrough_range(const Site& site, const Interface& interface);

// Names of the interfaces whose ranges range_over_passthrough reports. Their networks overlap that of the
// port, too, which is only a consequence.
std::unordered_set<std::string> interfaces_over_passthrough(const Site& site);

// The enabled port in pass-through mode; null if there is none.
const Interface* find_passthrough_port(const Site& site);

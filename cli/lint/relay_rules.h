#pragma once

// Rules about DHCP relays, which forward the requests of a network to another server.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void relay_unused(const Site& site, Findings& findings);
void relay_without_server(const Site& site, Findings& findings);
void relay_server_malformed(const Site& site, Findings& findings);
void relay_server_unusable(const Site& site, Findings& findings);
void relay_server_unreachable(const Site& site, Findings& findings);
void relay_server_beside_clients(const Site& site, Findings& findings);
void relay_beside_server(const Site& site, Findings& findings);
void relay_of_dhcp_client(const Site& site, Findings& findings);

// Whether the interface has a relay that is written for dnsmasq.
bool is_relay_used(const Interface& interface);

#pragma once

// Rules about WireGuard peers that conflict with each other, or with the gateway's own networks.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void wireguard_peer_twice(const Site& site, Findings& findings);
void wireguard_endpoint_twice(const Site& site, Findings& findings);
void wireguard_endpoint_own(const Site& site, Findings& findings);
void wireguard_network_twice(const Site& site, Findings& findings);
void wireguard_networks_overlap(const Site& site, Findings& findings);

#pragma once

// GRE tunnels.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void tunnel_without_inner_address(const Site& site, Findings& findings);
void tunnel_address_malformed(const Site& site, Findings& findings);
void tunnel_netmask_out_of_range(const Site& site, Findings& findings);
void tunnel_without_remote(const Site& site, Findings& findings);
void tunnel_twice(const Site& site, Findings& findings);
void tunnel_network_malformed(const Site& site, Findings& findings);
void tunnel_network_host_bits(const Site& site, Findings& findings);
void tunnel_incoming_gateway(const Site& site, Findings& findings);
void tunnel_dynamic_without_cell(const Site& site, Findings& findings);

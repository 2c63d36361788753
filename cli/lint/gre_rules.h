#pragma once

// Rules about the settings of GRE tunnels.

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
void tunnel_dynamic_in_passthrough(const Site& site, Findings& findings);
void tunnel_inner_ends_alike(const Site& site, Findings& findings);
void tunnel_inner_address_unusable(const Site& site, Findings& findings);
void tunnel_inner_remote_outside(const Site& site, Findings& findings);

// Calls `judge` with each enabled tunnel, including those after an incomplete tunnel, which cmd_lanfab
// leaves out.
template <typename Judge>
void for_each_tunnel(const Site& site, Judge judge) {
  int index = 0;
  for (const Json::Value& settings : array_at(site.root, "tunnels.gre")) {
    const GreTunnel tunnel = read_gre_tunnel(index++, settings);
    if (tunnel.is_enabled) judge(tunnel);
  }
}

// Whether the local endpoint is the address of the cellular link, and that link is disabled.
bool lacks_cell(const Site& site, const GreTunnel& tunnel);

#pragma once

// Rules about the paths of GRE tunnels: to their remote endpoints, and into the networks behind them.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void tunnel_remote_unusable(const Site& site, Findings& findings);
void tunnel_through_itself(const Site& site, Findings& findings);
void tunnel_local_not_own(const Site& site, Findings& findings);
void tunnel_local_elsewhere(const Site& site, Findings& findings);
void tunnel_remote_unreachable(const Site& site, Findings& findings);
void tunnel_network_twice(const Site& site, Findings& findings);
void tunnel_network_inside(const Site& site, Findings& findings);

// Whether a tunnel has a finding because its uplink is missing: its local address is that of a disabled
// cellular link, or its remote endpoint is unreachable.
bool has_tunnel_without_uplink(const Site& site);

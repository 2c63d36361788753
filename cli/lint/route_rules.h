#pragma once

// Gateways, default routes and static routes.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void gateway_malformed(const Site& site, Findings& findings);
void gateway_ignored(const Site& site, Findings& findings);
void gateway_without_address(const Site& site, Findings& findings);
void gateway_unreachable(const Site& site, Findings& findings);
void route_gateway_unusable(const Site& site, Findings& findings);
void route_gateway_outside(const Site& site, Findings& findings);
void route_gateway_without_address(const Site& site, Findings& findings);
void route_gateway_in_passthrough(const Site& site, Findings& findings);
void default_routes_alike(const Site& site, Findings& findings);
void route_incomplete(const Site& site, Findings& findings);
void route_host_bits(const Site& site, Findings& findings);
void route_twice(const Site& site, Findings& findings);

// The gateway of a route, if its section has one.
std::optional<std::string> written_gateway_of(const StaticRoute& route);

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

// A default route that the main routing table gets.
struct DefaultRoute {
  std::string owner;  // the interface: "eth0", "the cellular link"
  int metric;
  // What asks for it: a "network" object, "wireless.cell", a static route, a network behind a tunnel.
  const Json::Value* settings;
  const Json::Value* location;  // of its metric
};

std::vector<DefaultRoute> default_routes_of(const Site& site);

// The gateway of a route, if its section has one.
std::optional<std::string> written_gateway_of(const StaticRoute& route);

#pragma once

// Rules about gateways, default routes and static routes.

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

// A default route in the main routing table.
struct DefaultRoute {
  std::string owner;  // the interface: "eth0", "the cellular link"
  int metric;
  // The object that configures it: a "network" object, "wireless.cell", a static route, a network behind a
  // tunnel.
  const Json::Value* settings;
  const Json::Value* location;  // of its metric, or else of the route
};

std::vector<DefaultRoute> default_routes_of(const Site& site);

// The gateway that is written for a static route; nothing if there is none.
std::optional<std::string> written_gateway_of(const StaticRoute& route);

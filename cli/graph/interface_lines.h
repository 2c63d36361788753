#pragma once

// The lines of an interface in the picture.

#include "cli/graph/node.h"
#include "cli/lint/site.h"

// "port, 192.168.1.1 in 192.168.1.0/24"
std::string description_of(const Site& site, const Interface& interface);

// Adds what the configuration says about the interface itself: addresses, default route, MTU.
void add_address_lines(const Site& site, const Interface& interface, Part& part);

// Adds what a pass-through port offers to the device behind it.
void add_passthrough_lines(const Site& site, const Interface& interface, Part& part);

// Adds what becomes of DHCP requests: the server with its fixed leases, or the relay. `server` may be null.
void add_dhcp_lines(const Interface& interface, const DhcpServer* server, Part& part);

// Adds static routes, all of one interface.
void add_routes(const std::vector<const StaticRoute*>& routes, Part& part);

// The cellular link, without its routes and tunnels.
Part cellular_link(const Site& site);

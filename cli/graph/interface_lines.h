#pragma once

// The lines of an interface in the diagram.

#include "cli/graph/facts.h"
#include "cli/graph/node.h"
#include "cli/lint/site.h"

// "port, 192.168.1.1/24"
std::string description_of(const Site& site, const Interface& interface);

// Adds what the configuration says about the interface itself: addresses, default route, MTU.
void add_address_lines(const DiagramFacts& facts, const Interface& interface, Node& node);

// Adds what a pass-through port offers to the device behind it.
void add_passthrough_lines(const Site& site, const Interface& interface, Node& node);

// Adds what becomes of DHCP requests: the server with its static leases, or the relay. `server` may be null.
void add_dhcp_lines(const DiagramFacts& facts, const Interface& interface, const DhcpServer* server,
                    Node& node);

// Adds the static routes on an interface.
void add_routes(const DiagramFacts& facts, const std::vector<const StaticRoute*>& routes, Node& node);

// The cellular link, without the routes on it and what is behind it.
Node cellular_link(const DiagramFacts& facts);

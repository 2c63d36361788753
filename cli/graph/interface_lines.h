#pragma once

// The lines of an interface in the diagram.

#include "cli/graph/facts.h"
#include "cli/graph/node.h"
#include "cli/lint/site.h"

// The kind and address of an interface: "port, 192.168.1.1/24".
std::string description_of(const Site& site, const Interface& interface);

// Adds lines for settings of the interface itself: secondary address, default route, MTU.
void add_address_lines(const DiagramFacts& facts, const Interface& interface, Node& node);

// Adds lines for the DHCP service that a pass-through port offers to the device behind it.
void add_passthrough_lines(const Site& site, const Interface& interface, Node& node);

// Adds lines for DHCP: the server with its static leases, unless `server` is null, and the relay, if any.
void add_dhcp_lines(const DiagramFacts& facts, const Interface& interface, const DhcpServer* server,
                    Node& node);

// Adds the static routes on an interface.
void add_routes(const DiagramFacts& facts, const std::vector<const StaticRoute*>& routes, Node& node);

// The node of the cellular link, without its routes and without the nodes behind it.
Node cellular_link(const DiagramFacts& facts);

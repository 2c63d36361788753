#pragma once

// Describes changes to the gateway as a whole, in sentences.

#include "cli/compare/facts.h"
#include "cli/compare/sentences.h"

// Describes changes that the files and commands show directly: forwarding, routes over the cellular link,
// routes without effect, telnet, static leases, host names and DNS servers.
void describe_gateway(const Facts& before, const Facts& after, Sentences& sentences);

// Describes changes that follow from all units together: the default route, and tunnels that cannot carry
// traffic. Both sides must contain all units.
void describe_consequences(const Facts& before, const Facts& after, Sentences& sentences);

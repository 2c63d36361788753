#pragma once

// What changes for the gateway as a whole, in sentences.

#include "cli/compare/facts.h"
#include "cli/compare/sentences.h"

// What the files and commands themselves say: forwarding, telnet, names, static leases, routes without
// effect.
void describe_gateway(const Facts& before, const Facts& after, Sentences& sentences);

// What follows from all units together: the default route, tunnels that carry nothing.
void describe_consequences(const Facts& before, const Facts& after, Sentences& sentences);

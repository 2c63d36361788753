#pragma once

#include "cli/graph/node.h"
#include "cli/lint/site.h"

// The whole diagram: the gateway with its interfaces, tunnels, names and networks. Its locations are values
// in the configuration of `site`, which must outlive it.
Node diagram_of(const Site& site);

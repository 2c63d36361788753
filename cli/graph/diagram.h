#pragma once

#include "cli/graph/node.h"
#include "cli/lint/site.h"

// The whole diagram: the gateway with all that is in it, on it and behind it. Its locations are in `site`.
Node diagram_of(const Site& site);

#pragma once

#include <cstddef>

#include "cli/graph/node.h"

// Whether a list of this length is shortened.
bool is_long(std::size_t count);

// Shortens long lists, so that the diagram stays legible. The first items and some of the others
// with findings are kept; a node shows how many are left out. If a node has many findings, only
// the first ones are kept.
void summarize(Node& diagram);

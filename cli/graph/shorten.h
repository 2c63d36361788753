#pragma once

#include <cstddef>

#include "cli/graph/node.h"

// Whether a list of so many is cut.
bool is_long(std::size_t count);

// Cuts long lists, so that the diagram stays legible: of more than a few, the first and some of those with
// findings stay, and a node says how many are left out. Of many findings about one node the first stay.
void summarize(Node& diagram);

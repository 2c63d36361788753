#pragma once

#include <string>
#include <vector>

#include "cli/graph/caption.h"
#include "cli/graph/node.h"
#include "cli/graph/tables.h"

// The diagram in Graphviz's DOT language, in UTF-8. The Internet and the boxes that lead to it are on the
// left of the gateway, all others on the right; the caption is above, a legend and the tables are below. A
// caption without a title is left out. The diagram is legible on a white and on a dark background.
std::string dot_diagram(const Node& diagram, const Caption& caption, const std::vector<Table>& tables);

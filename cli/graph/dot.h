#pragma once

#include <string>
#include <vector>

#include "cli/graph/caption.h"
#include "cli/graph/node.h"
#include "cli/graph/tables.h"

// The diagram in Graphviz's language, in UTF-8: the Internet and what leads there on the left of the gateway,
// the rest on the right; the caption above, a legend and the tables below. Without a title there is no
// caption. It is legible on a white background and on a dark one.
std::string dot_diagram(const Node& diagram, const Caption& caption, const std::vector<Table>& tables);

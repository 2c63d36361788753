#pragma once

#include "cli/graph/node.h"

// Adds each finding to the node that it is about: the one whose location is the innermost around it, and of
// two with the same location the outer one. The findings are in the order of the text, and all within the
// diagram's own locations.
void mark(const std::vector<Finding>& findings, Node& diagram);

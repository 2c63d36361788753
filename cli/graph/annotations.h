#pragma once

#include "cli/graph/node.h"

// Adds each finding to the node with the innermost location around it; if two nodes have the same location,
// to the outer one. The findings must be in the order of the configuration's text and within the locations
// of the diagram's root.
void mark(const std::vector<Finding>& findings, Node& diagram);

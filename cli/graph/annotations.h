#pragma once

#include "cli/graph/node.h"

// Gives each finding to the part that it is about: the one whose place is the innermost around it, and of two
// with the same place the outer one. The findings are in the order of the text, and all within the picture's
// own places.
void mark(const std::vector<Finding>& findings, Part& picture);

#pragma once

#include <string>

#include "cli/graph/node.h"

// The picture in Graphviz's language, in UTF-8: what leads out of the site on the left of the gateway, the
// rest on the right. It is readable on a white background and on a dark one.
std::string dot_picture(const Part& picture);

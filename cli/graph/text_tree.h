#pragma once

#include <string>

#include "cli/graph/node.h"
#include "cli/graph/wrap.h"

// The picture as a tree for a terminal, at most 80 columns wide. Its branches are box-drawing characters
// where the charset has them; with `color`, findings stand out.
std::string text_picture(const Part& picture, Charset charset, bool color);

#pragma once

#include <string>

#include "companion/graph/part.h"
#include "companion/graph/words.h"

// The picture as a tree for a terminal, at most 80 columns wide. Its branches are box-drawing characters
// where the charset has them; with `colour`, findings stand out.
std::string text_picture(const Part& picture, Charset charset, bool colour);

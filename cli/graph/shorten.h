#pragma once

#include "cli/graph/node.h"

// Cuts long lists, so that the picture stays legible: of more than a few, the first and some of those with
// findings stay, and a part says how many are left out. Of many findings about one part the first stay.
void summarize(Part& picture);

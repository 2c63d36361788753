#pragma once

#include "cli/graph/node.h"
#include "cli/lint/site.h"

// The whole picture: the gateway with all that is in it, on it and behind it. Its places are in `site`.
Part picture_of(const Site& site);

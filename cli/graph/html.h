#pragma once

#include <string>
#include <vector>

#include "cli/graph/caption.h"
#include "cli/graph/tables.h"
#include "cli/lint/finding.h"

// A self-contained page, light or dark as the browser prefers: the diagram, the findings, the tables. It
// loads nothing and runs no script. `svg` is the diagram without a caption, and `text` the configuration
// that the findings refer to.
std::string html_page(const Caption& caption, const std::string& svg, const std::string& text,
                      const std::vector<Finding>& findings, const std::vector<Table>& tables);

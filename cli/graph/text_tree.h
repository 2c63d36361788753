#pragma once

#include <string>
#include <vector>

#include "cli/graph/node.h"
#include "cli/graph/tables.h"
#include "cli/graph/wrap.h"

// The diagram as a tree for a terminal, at most 80 columns wide. Its branches are box-drawing characters if
// the charset has them; `color` highlights the findings.
std::string text_diagram(const Node& diagram, Charset charset, bool color);

// The tables below the diagram, each after an empty line. Long lines are not wrapped.
std::string text_tables(const std::vector<Table>& tables, Charset charset);

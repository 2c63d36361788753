#pragma once

#include <string>
#include <vector>

#include "cli/graph/node.h"
#include "cli/graph/tables.h"
#include "cli/graph/wrap.h"

// The diagram as a tree for a terminal, at most 80 columns wide. Its branches are box-drawing characters
// where the charset has them; with `color`, findings stand out.
std::string text_diagram(const Node& diagram, Charset charset, bool color);

// The tables below it, each after an empty line. Their lines are as long as the cells are.
std::string text_tables(const std::vector<Table>& tables, Charset charset);

#pragma once

// The lists of a diagram as tables.

#include <string>
#include <vector>

#include "cli/graph/node.h"

struct Table {
  std::string title;
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;  // each has as many cells
};

enum class TableScope { kEveryList, kShortenedLists };

// The tables of a diagram that is still whole: of each list, or of those that summarize() shortens. What
// `lanfab check` finds in a row is in its last column.
std::vector<Table> tables_of(const Node& diagram, TableScope scope);

#pragma once

// The lists of a diagram as tables.

#include <string>
#include <vector>

#include "cli/graph/node.h"

struct Table {
  std::string title;
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;  // with a cell for each column
};

enum class TableScope { kEveryList, kShortenedLists };

// The tables for the lists of a diagram: for all of them, or for those that summarize(), which must be
// called later, is going to shorten. The last column contains the findings about a row, if there are any.
std::vector<Table> tables_of(const Node& diagram, TableScope scope);

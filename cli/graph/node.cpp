#include "cli/graph/node.h"

void add_item(Node& list, std::vector<std::string> cells, const Json::Value& location) {
  while (!cells.empty() && cells.back().empty())
    cells.pop_back();
  std::string text;
  for (const std::string& cell : cells)
    text += (text.empty() ? "" : "  ") + cell;
  add_line(list, std::move(text), {&location});
  list.children.back().cells = std::move(cells);
}

Node list_node(const ListKind& kind, std::string heading, Locations locations) {
  Node list{Node::Kind::kLine, "", std::move(heading), std::move(locations)};
  list.list = &kind;
  return list;
}

std::string line_of(const Node& node) {
  return node.name + (node.name.empty() || node.text.empty() ? "" : "  ") + node.text;
}

#include "cli/graph/tables.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>

#include "cli/graph/shorten.h"
#include "cli/graph/wrap.h"

static constexpr ListKind kBoxes = {"Interfaces and tunnels", nullptr, {"Name", "Description", "Settings"}};
static constexpr ListKind kFindings = {"Findings", "Node", {"Finding"}};

namespace {

// Fills tables, in the order in which their lists appear.
class TableWriter {
 public:
  explicit TableWriter(TableScope scope) : scope_(scope) {}

  // `owner` is the name of the box around the node.
  void add(const Node& node, const std::string& owner) {
    const std::string& name = node.is_box() ? node.name : owner;
    if (node.list != nullptr && is_wanted(line_count(node))) {
      for (const Node& item : node.children)
        add_row(*node.list, name, item.cells, item.findings);
    }
    if (scope_ == TableScope::kShortenedLists && is_long(node.findings.size())) {
      for (const Finding& finding : node.findings)
        add_row(kFindings, name, {text_of(finding)}, {});
    }
    const bool has_wanted_boxes = is_wanted(node.children.size() - line_count(node));
    for (const Node& inner : node.children) {
      if (has_wanted_boxes && inner.is_box() && inner.kind != Node::Kind::kNames)
        add_row(kBoxes, "", {inner.name, inner.text, settings_of(inner)}, findings_of(inner));
      add(inner, name);
    }
  }

  std::vector<Table> take() {
    for (Table& table : tables_)
      drop_empty_columns(table);
    return std::move(tables_);
  }

 private:
  bool is_wanted(std::size_t count) const {
    return scope_ == TableScope::kEveryList || is_long(count);
  }

  static std::size_t line_count(const Node& node) {
    return static_cast<std::size_t>(std::count_if(node.children.begin(), node.children.end(),
                                                  [](const Node& inner) { return !inner.is_box(); }));
  }

  // The findings about a box that are not in the rows of another table.
  static std::vector<Finding> findings_of(const Node& box) {
    std::vector<Finding> findings = box.findings;
    for (const Node& line : box.children) {
      if (!line.is_box() && line.cells.empty())
        findings.insert(findings.end(), line.findings.begin(), line.findings.end());
    }
    return findings;
  }

  // The lines of a box that have no table of their own.
  static std::string settings_of(const Node& box) {
    std::string settings;
    for (const Node& line : box.children) {
      if (line.is_box() || line.list != nullptr || !line.cells.empty()) continue;
      settings += (settings.empty() ? "" : "; ") + line_of(line);
    }
    return settings;
  }

  Table& table_of(const ListKind& kind) {
    const auto [found, is_new] = indices_.emplace(&kind, tables_.size());
    if (is_new) {
      tables_.push_back({kind.title, {}, {}});
      std::vector<std::string>& columns = tables_.back().columns;
      if (kind.owner != nullptr) columns.emplace_back(kind.owner);
      columns.insert(columns.end(), kind.columns.begin(), kind.columns.end());
      columns.emplace_back("Findings");
    }
    return tables_[found->second];
  }

  void add_row(const ListKind& kind, const std::string& owner, const std::vector<std::string>& cells,
               const std::vector<Finding>& findings) {
    Table& table = table_of(kind);
    std::vector<std::string> row;
    if (kind.owner != nullptr) row.push_back(owner);
    row.insert(row.end(), cells.begin(), cells.end());
    row.resize(table.columns.size());
    for (const Finding& finding : findings)
      row.back() += (row.back().empty() ? "" : "; ") + text_of(finding);
    table.rows.push_back(std::move(row));
  }

  static void drop_empty_columns(Table& table) {
    for (std::size_t column = table.columns.size(); column-- > 0;) {
      const bool is_empty = std::all_of(table.rows.begin(), table.rows.end(),
                                        [column](const auto& row) { return row[column].empty(); });
      if (!is_empty) continue;
      const auto offset = static_cast<std::ptrdiff_t>(column);
      table.columns.erase(table.columns.begin() + offset);
      for (std::vector<std::string>& row : table.rows)
        row.erase(row.begin() + offset);
    }
  }

  TableScope scope_;
  std::vector<Table> tables_;
  std::unordered_map<const ListKind*, std::size_t> indices_;
};

}  // namespace

std::vector<Table> tables_of(const Node& diagram, TableScope scope) {
  TableWriter writer(scope);
  writer.add(diagram, "");
  return writer.take();
}

#include "cli/graph/text_tree.h"

#include <algorithm>

#include "cli/base/terminal.h"

constexpr std::size_t kColumns = 80;
// The gap between the columns of a table.
constexpr std::size_t kTableGap = 2;

namespace {

// Strings that form the branches of the tree, each three columns wide.
struct Branches {
  const char* to_node;
  const char* to_last_node;
  const char* past;
};

// Writes the tree line by line.
class TreeWriter {
 public:
  TreeWriter(Charset charset, bool color)
      : charset_(charset), color_(color), branches_(charset == Charset::kUtf8 ? kUtf8 : kAscii) {}

  // Adds a node and its children. `head` precedes the first line, `tail` each of the others; both
  // consist of `depth` branches.
  void add(const Node& node, const std::string& head, const std::string& tail, std::size_t depth) {
    const std::string beside = tail + (node.children.empty() ? kNothing : branches_.past);
    add_lines(line_of(node), head, beside, depth, "");
    for (const Finding& finding : node.findings) {
      const char* style = finding.severity == Severity::kError ? "1;31" : "1;35";
      add_lines(text_of(finding), beside, beside, depth + 1, style);
    }
    for (const Node& inner : node.children) {
      const bool is_last = &inner == &node.children.back();
      add(inner, tail + (is_last ? branches_.to_last_node : branches_.to_node),
          tail + (is_last ? kNothing : branches_.past), depth + 1);
    }
  }

  std::string take() {
    return std::move(text_);
  }

 private:
  static constexpr Branches kUtf8 = {"├─ ", "└─ ", "│  "};
  static constexpr Branches kAscii = {"|- ", "`- ", "|  "};
  static constexpr const char* kNothing = "   ";
  static constexpr std::size_t kBranchColumns = 3;

  void add_lines(const std::string& text, const std::string& head, const std::string& beside,
                 std::size_t depth, const char* style) {
    // Following lines may have one more branch before them than the first.
    const std::size_t columns = kColumns - (depth + 1) * kBranchColumns;
    const std::string* before = &head;
    for (const std::string& line : wrapped(text, columns, charset_)) {
      text_ += *before + styled(line, style, color_) + "\n";
      before = &beside;
    }
  }

  Charset charset_;
  bool color_;
  const Branches& branches_;
  std::string text_;
};

}  // namespace

std::string text_diagram(const Node& diagram, Charset charset, bool color) {
  TreeWriter writer(charset, color);
  writer.add(diagram, "", "", 0);
  return writer.take();
}

static std::string text_row(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string row;
  for (std::size_t column = 0; column < cells.size(); ++column)
    row += cells[column] + std::string(widths[column] - width_of(cells[column]) + kTableGap, ' ');
  row.erase(row.find_last_not_of(' ') + 1);
  return row + "\n";
}

static std::string text_table(Table table, Charset charset) {
  table.rows.insert(table.rows.begin(), table.columns);
  std::vector<std::size_t> widths(table.columns.size());
  for (std::vector<std::string>& row : table.rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      row[column] = shown(row[column], charset);
      widths[column] = std::max(widths[column], width_of(row[column]));
    }
  }
  std::string text = "\n" + table.title + "\n";
  for (const std::vector<std::string>& row : table.rows)
    text += "  " + text_row(row, widths);
  return text;
}

std::string text_tables(const std::vector<Table>& tables, Charset charset) {
  std::string text;
  for (const Table& table : tables)
    text += text_table(table, charset);
  return text;
}

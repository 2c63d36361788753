#include "cli/graph/dot.h"

#include <algorithm>

#include "cli/base/markup.h"
#include "cli/graph/palette.h"
#include "cli/graph/wrap.h"

// The maximum width of a line in a box or in a cell of a table, in columns.
constexpr std::size_t kLabelColumns = 54;

// Attributes of the tables in the labels of boxes and of the diagram.
constexpr char kLines[] = R"(cellborder="0" cellpadding="1")";
constexpr char kCaptionAndFoot[] = R"(cellborder="0" cellpadding="2")";
constexpr char kAround[] = R"(cellborder="0" cellpadding="0")";

// The gap between columns of text, and between entries of the legend.
constexpr char kGap[] = "&#160;&#160;&#160;";

static std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + value + "\"";
}

// Markup of a string that is wrapped into lines, each between `begin` and `end`.
static std::string lines_markup(const std::string& text, const std::string& begin = "",
                                const std::string& end = "") {
  std::string markup;
  for (const std::string& line : wrapped(text, kLabelColumns, Charset::kUtf8)) {
    if (!markup.empty()) markup += "<br/>";
    // Graphviz refuses empty elements and empty cells.
    if (line.empty()) {
      markup += "&#160;";
    } else {
      markup.append(begin).append(escaped(line)).append(end);
    }
  }
  return markup;
}

static std::string bold(const std::string& text) {
  return lines_markup(text, "<b>", "</b>");
}

// A table cell with left-aligned text.
static std::string cell_markup(const std::string& content, std::size_t span = 1) {
  const std::string columns = span > 1 ? attribute("colspan", std::to_string(span)) : "";
  return R"(<td align="left" balign="left")" + columns + ">" + content + "</td>";
}

static std::string row_markup(const std::string& content, std::size_t span = 1) {
  return "<tr>" + cell_markup(content, span) + "</tr>";
}

static std::string table_markup(const std::string& rows, const std::string& attributes) {
  return R"(<table border="0" cellspacing="0" )" + attributes + ">" + rows + "</table>";
}

static std::string label(const std::string& rows, const char* attributes) {
  return rows.empty() ? "label=\"\"" : "label=<" + table_markup(rows, attributes) + ">";
}

// A row that contains a table. Graphviz distributes spare room evenly among the columns of a nested table:
// many empty columns take most of it, so that the others stay on the left.
static std::string nested_row(const std::string& table, const std::string& before = "") {
  const std::string cells = before + "<td>" + table + R"(</td><td colspan="20"></td>)";
  return R"(<tr><td cellpadding="0">)" + table_markup("<tr>" + cells + "</tr>", kAround) + "</td></tr>";
}

static std::string indented(const std::string& rows) {
  return nested_row(table_markup(rows, kLines), R"(<td width="10"></td>)");
}

static std::string findings_rows(const Node& node, std::size_t span = 1) {
  std::string rows;
  for (const Finding& finding : node.findings) {
    const char* color = finding.severity == Severity::kError ? kError.light : kWarning.light;
    rows += row_markup(lines_markup(text_of(finding), "<font" + attribute("color", color) + ">", "</font>"),
                       span);
  }
  return rows;
}

// The rows of a list item: its cells, of which the last one spans the remaining columns, and its findings.
static std::string item_rows(const Node& item, std::size_t columns) {
  if (item.cells.empty()) return row_markup(lines_markup(item.text), columns);
  std::string cells;
  for (std::size_t column = 0; column < item.cells.size(); ++column) {
    const bool is_last = column + 1 == item.cells.size();
    const std::string content = lines_markup(item.cells[column]);
    cells += is_last ? cell_markup(content, columns - column) : cell_markup(content + kGap);
  }
  return "<tr>" + cells + "</tr>" + findings_rows(item, columns);
}

static std::string rows_below(const Node& node) {
  std::string rows;
  for (const Node& inner : node.children) {
    if (inner.is_box()) continue;
    if (node.list != nullptr) {
      rows += item_rows(inner, node.list->columns.size());
      continue;
    }
    // A line with others below it is a heading.
    const std::string below = rows_below(inner);
    if (!below.empty()) rows += R"(<tr><td height="3"></td></tr>)";
    rows += row_markup(below.empty() ? lines_markup(line_of(inner)) : bold(line_of(inner)));
    rows += findings_rows(inner);
    if (!below.empty()) rows += indented(below);
  }
  return rows;
}

static std::string box_label(const Node& box) {
  std::string rows = box.name.empty() ? "" : row_markup(bold(box.name));
  if (!box.text.empty()) rows += row_markup(lines_markup(box.text));
  rows += findings_rows(box);
  const std::string below = rows_below(box);
  rows += box.list != nullptr && !below.empty() ? indented(below) : below;
  return label(rows, kLines);
}

static bool has_preferred_uplink(const Node& box) {
  return box.internet == Node::Internet::kPreferred ||
         std::any_of(box.children.begin(), box.children.end(), has_preferred_uplink);
}

// The number of steps from the box to the farthest one that reaches the Internet; -1 if there is none.
static int distance_to_internet(const Node& box) {
  int distance = box.internet != Node::Internet::kNone ? 0 : -1;
  for (const Node& inner : box.children) {
    const int behind = distance_to_internet(inner);
    if (behind >= 0) distance = std::max(distance, behind + 1);
  }
  return distance;
}

static bool leads_out(const Node& box) {
  return distance_to_internet(box) >= 0;
}

namespace {

// The contents of a diagram, for its legend.
struct Content {
  std::vector<Node::Kind> kinds;
  bool has_errors = false;
  bool has_warnings = false;

  void add(const Node& node) {
    kinds.push_back(node.kind);
    for (const Finding& finding : node.findings)
      (finding.severity == Severity::kError ? has_errors : has_warnings) = true;
    for (const Node& inner : node.children)
      add(inner);
  }
};

// Writes the boxes, which are named n0, n1, n2 and so on, and their edges.
class DotWriter {
 public:
  explicit DotWriter(const Node& diagram) : distance_(distance_to_internet(diagram)) {
    add(diagram, 0, false);
  }

  std::string take() {
    return internet_ + text_;
  }

 private:
  // Adds a box, which is `depth` steps away from the gateway, and the boxes below it: on its left if
  // `is_left`, otherwise on its right, except that boxes that lead to the Internet are on the left of the
  // gateway. Returns the number of the box.
  std::size_t add(const Node& node, int depth, bool is_left) {
    const std::size_t number = count_++;
    const BoxColors& colors = style_of(node.kind).light;
    text_ += "    n" + std::to_string(number) + " [fillcolor=\"" + colors.fill + "\", color=\"" +
             colors.line + "\", " + box_label(node) + "]\n";
    if (node.internet != Node::Internet::kNone) add_internet_edge(number, depth, node);
    const auto is_inner_left = [&](const Node& inner) {
      return is_left || (number == 0 && leads_out(inner));
    };
    for (const Node& inner : node.children) {
      if (inner.is_box() && is_inner_left(inner)) add_edge(number, inner, depth + 1, true);
    }
    // On the right, Graphviz draws the first box at the bottom.
    for (auto inner = node.children.rbegin(); inner != node.children.rend(); ++inner) {
      if (inner->is_box() && !is_inner_left(*inner)) add_edge(number, *inner, depth + 1, false);
    }
    return number;
  }

  static const char* style_of_edge(bool is_preferred) {
    return is_preferred ? " [penwidth=4]" : "";
  }

  // Adds an edge that leads from column to column, with bends in the columns of other boxes.
  void add_internet_edge(std::size_t number, int depth, const Node& node) {
    if (internet_.empty()) {
      internet_ = std::string("    internet [fillcolor=\"") + kInternetColors.fill + "\", color=\"" +
                  kInternetColors.line + "\", fontcolor=\"" + kInternetText +
                  "\", label=<<b>Internet</b>>]\n";
    }
    std::string path = "internet";
    for (int bends = distance_ - depth; bends > 0; --bends) {
      const std::string bend = "bend" + std::to_string(bend_count_++);
      text_ += "    " + bend + " [label=\"\", width=0.01, height=0.01, penwidth=0, fillcolor=\"" +
               kEdgeColor + "\"]\n";
      path += " -- " + bend;
    }
    text_ += "    " + path + " -- n" + std::to_string(number) +
             style_of_edge(node.internet == Node::Internet::kPreferred) + "\n";
  }

  void add_edge(std::size_t number, const Node& inner, int depth, bool is_left) {
    // The traffic of a pass-through port passes the gateway, although its address is that
    // of the cellular link.
    if (inner.kind == Node::Kind::kPassthrough) {
      text_ += "    n0 -- n" + std::to_string(add(inner, 1, false)) + "\n";
      return;
    }
    const std::string outer_name = "n" + std::to_string(number);
    const std::string inner_name = "n" + std::to_string(add(inner, depth, is_left));
    text_ += "    " + (is_left ? inner_name + " -- " + outer_name : outer_name + " -- " + inner_name) +
             style_of_edge(has_preferred_uplink(inner)) + "\n";
  }

  int distance_;  // of the farthest box that reaches the Internet
  std::size_t count_ = 0;
  std::size_t bend_count_ = 0;
  std::string internet_;
  std::string text_;
};

}  // namespace

static std::string swatch(const BoxColors& colors, int height) {
  return R"(<td border="1" cellpadding="0" fixedsize="true" width="16")" +
         attribute("height", std::to_string(height)) + attribute("bgcolor", colors.fill) +
         attribute("color", colors.line) + "></td>";
}

static std::string legend_entry(const BoxColors& colors, const char* meaning, int height = 11) {
  return swatch(colors, height) + cell_markup(escaped(meaning) + kGap);
}

static std::string legend_markup(const Node& diagram) {
  Content content;
  content.add(diagram);
  std::string cells;
  for (const BoxStyle& style : box_styles()) {
    const bool is_there =
        std::find(content.kinds.begin(), content.kinds.end(), style.kind) != content.kinds.end();
    if (is_there && style.meaning != nullptr) cells += legend_entry(style.light, style.meaning);
  }
  if (has_preferred_uplink(diagram)) cells += legend_entry({kEdgeColor, kEdgeColor}, "preferred uplink", 4);
  if (content.has_errors) cells += legend_entry({kError.light, kError.light}, "error");
  if (content.has_warnings) cells += legend_entry({kWarning.light, kWarning.light}, "warning");
  return cells.empty()
             ? ""
             : nested_row(table_markup("<tr>" + cells + "</tr>", R"(cellborder="0" cellpadding="3")"));
}

static std::string cells_markup(const std::vector<std::string>& cells, const char* begin, const char* end) {
  std::string markup;
  for (const std::string& cell : cells)
    markup += cell_markup(lines_markup(cell, begin, end));
  return "<tr>" + markup + "</tr>";
}

static std::string table_rows(const Table& table) {
  std::string rows = cells_markup(table.columns, "<b>", "</b>");
  for (const std::vector<std::string>& row : table.rows)
    rows += cells_markup(row, "", "");
  const std::string attributes = R"(cellborder="1" cellpadding="4")" +
                                 attribute("bgcolor", kTableColors.fill) +
                                 attribute("color", kTableColors.line);
  const std::string content = table_markup(rows, attributes);
  return row_markup("&#160;") + row_markup(bold(table.title)) +
         nested_row("<font" + attribute("color", kBoxText.light) + ">" + content + "</font>");
}

// The label below the boxes: the legend and the tables.
static std::string foot_label(const Node& diagram, const std::vector<Table>& tables) {
  std::string rows = legend_markup(diagram);
  for (const Table& table : tables)
    rows += table_rows(table);
  return label(rows, kCaptionAndFoot);
}

static std::string caption_label(const Caption& caption) {
  if (caption.title.empty()) return label("", kCaptionAndFoot);
  const std::string title = R"(<font point-size="16">)" + bold(caption.title) + "</font>";
  return label(row_markup(title) + row_markup(lines_markup(caption.subtitle)), kCaptionAndFoot);
}

// The attributes of the graph, nodes and edges. The boxes are in a cluster, whose label is the caption,
// because a graph has only one label.
static std::string head_of(const Node& diagram, const std::vector<Table>& tables) {
  const std::string font = R"(fontname="Helvetica,Arial,sans-serif", fontsize=11, fontcolor=)";
  return "graph lanfab {\n"
         "  graph [rankdir=LR, ordering=out, splines=polyline, bgcolor=transparent, pad=0.2, nodesep=0.25,\n"
         "         ranksep=0.5, labeljust=l, " +
         font + '"' + kPageText.light +
         "\"]\n"
         "  node [shape=box, style=filled, width=0, height=0, margin=\"0.16,0.08\", penwidth=1.5,\n"
         "        " +
         font + '"' + kBoxText.light +
         "\"]\n"
         "  edge [color=\"" +
         kEdgeColor +
         "\", penwidth=1.5]\n"
         "  labelloc=b\n  " +
         foot_label(diagram, tables) + "\n  subgraph cluster_network {\n    peripheries=0\n    margin=0\n" +
         "    labelloc=t\n    ";
}

std::string dot_diagram(const Node& diagram, const Caption& caption, const std::vector<Table>& tables) {
  DotWriter writer(diagram);
  return head_of(diagram, tables) + caption_label(caption) + "\n" + writer.take() + "  }\n}\n";
}

// Draws the diagram of a configuration with its findings: as text, in Graphviz's language and as SVG. The
// diagram must have all findings, each output must be well-formed, and no string of the configuration may
// become syntax or a terminal escape sequence.

#include <syslog.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdint>
#include <cwchar>
#include <string>
#include <vector>

#include "check.h"
#include "cli/config_file/source.h"
#include "cli/graph/annotations.h"
#include "cli/graph/diagram.h"
#include "cli/graph/dot.h"
#include "cli/graph/graphviz.h"
#include "cli/graph/shorten.h"
#include "cli/graph/text_tree.h"
#include "cli/lint/rules.h"
#include "configuration_of.h"
#include "libcmd/configuration_text.h"
#include "markup.h"
#include "text.h"

// --- The tree

static std::size_t count_findings(const Node& node) {
  std::size_t count = node.findings.size();
  for (const Node& inner : node.children)
    count += count_findings(inner);
  return count;
}

static std::size_t count_boxes(const Node& node) {
  std::size_t count = node.is_box() ? 1 : 0;
  for (const Node& inner : node.children)
    count += count_boxes(inner);
  return count;
}

// Whether a node in the diagram mentions that findings are left out.
static bool mentions_more_findings(const Node& node) {
  const bool is_note = node.text.find("more findings, not shown") != std::string::npos ||
                       node.text.find("of them with findings") != std::string::npos;
  return is_note || std::any_of(node.children.begin(), node.children.end(), mentions_more_findings);
}

// Returns the diagram with its findings and shortened lists.
static Node whole_diagram(const Site& site, const std::vector<Finding>& findings) {
  Node diagram = diagram_of(site);
  mark(findings, diagram);
  check(count_findings(diagram) == findings.size(), "a finding is lost, or in the diagram twice");
  summarize(diagram);
  const std::size_t shown = count_findings(diagram);
  check(shown <= findings.size(), "a finding is in the diagram twice");
  check(shown == findings.size() || mentions_more_findings(diagram), "a finding is left out unmentioned");
  return diagram;
}

// --- As text

static int columns_of(const std::u32string& line) {
  int columns = 0;
  for (const char32_t character : line)
    columns += wcwidth(static_cast<wchar_t>(character));
  return columns;
}

static void check_text(const Node& diagram, Charset charset) {
  const std::string text = text_diagram(diagram, charset, false);
  check(!text.empty() && text.back() == '\n', "a diagram is cut off");
  for (const std::string& line : lines_of(text)) {
    check(is_safe_on_terminal(line), "a diagram has something that a terminal obeys");
    const auto points = decode_utf8(line);
    check(columns_of(*points) <= 80, "a diagram is wider than a terminal");
    if (charset == Charset::kUtf8) continue;
    check(points->size() == line.size(), "a diagram in ASCII has something else in it");
  }
  check(without_color(text_diagram(diagram, charset, true)) == text, "colors change a diagram");
}

// --- For Graphviz

static const std::string& next_line(const std::vector<std::string>& lines, std::size_t& number) {
  check(number < lines.size(), "a diagram for Graphviz is cut off");
  return lines[number++];
}

namespace {

// Checks the statements of a diagram for Graphviz, and counts the nodes and edges of its drawing.
class Statements {
 public:
  explicit Statements(std::size_t boxes) : has_edge_(boxes, false) {}

  void read(const std::string& statement) {
    if (statement.compare(0, 4, "bend") == 0 && statement.find(" [label=\"\", ") != std::string::npos) {
      ++nodes_;
    } else if (statement.size() > 2 && statement.compare(statement.size() - 2, 2, ">]") == 0) {
      read_box(statement);
    } else {
      read_edges(statement);
    }
  }

  // Checks that all boxes exist, and that each except the first has an edge to an earlier one.
  void check_all() const {
    check(boxes_ == has_edge_.size(), "a box is missing");
    check(static_cast<std::size_t>(std::count(has_edge_.begin(), has_edge_.end(), true)) + 1 == boxes_,
          "a box is not connected");
  }

  std::size_t nodes() const {
    return nodes_;
  }

  std::size_t edges() const {
    return edges_;
  }

 private:
  // Checks the statement of a box: "n1 [fillcolor="#dde3ea", color="#57606a", label=<MARKUP>]". Boxes are in
  // the order of their numbers, after the node "internet".
  void read_box(const std::string& statement) {
    const bool is_internet = statement.compare(0, 9, "internet ") == 0;
    const std::string name = is_internet ? "internet" : "n" + std::to_string(boxes_);
    const std::string form = name + " [fillcolor=\"#######\", color=\"#######\", " +
                             (is_internet ? "fontcolor=\"#######\", " : "") + "label=<";
    check(statement.size() > form.size() + 2, "a box is cut off");
    for (std::size_t i = 0; i < form.size(); ++i) {
      const bool is_digit = std::isxdigit(static_cast<unsigned char>(statement[i])) != 0;
      check(statement[i] == form[i] || (form[i] == '#' && is_digit), "a box is not a statement for a box");
    }
    check_label(statement.substr(form.size(), statement.size() - 2 - form.size()));
    ++nodes_;
    boxes_ += is_internet ? 0 : 1;
  }

  // Checks an edge, "n2 -- n1 [penwidth=4]", or a path from the Internet, "internet -- bend0 -- n1".
  void read_edges(std::string statement) {
    const std::string kPreferred = " [penwidth=4]";
    const std::size_t end = statement.size() - std::min(statement.size(), kPreferred.size());
    if (statement.substr(end) == kPreferred) statement.resize(end);
    const std::string kLine = " -- ";
    std::vector<std::string> names;
    std::size_t begin = 0;
    for (std::size_t at = statement.find(kLine); at != std::string::npos; at = statement.find(kLine, begin)) {
      names.push_back(statement.substr(begin, at - begin));
      begin = at + kLine.size();
    }
    names.push_back(statement.substr(begin));
    check(names.size() >= 2, "a diagram for Graphviz has another statement");
    edges_ += names.size() - 1;
    if (names.front() == "internet") {
      number_of(names.back());
    } else {
      check(names.size() == 2, "an edge is more than one edge");
      connect(number_of(names[0]), number_of(names[1]));
    }
  }

  // Returns the number of a box, given its name.
  static std::size_t number_of(const std::string& name) {
    const bool is_box = name.size() > 1 && name.size() < 10 && name[0] == 'n' &&
                        name.find_first_not_of("0123456789", 1) == std::string::npos;
    check(is_box, "an edge without a box");
    return std::stoul(name.substr(1));
  }

  void connect(std::size_t left, std::size_t right) {
    const std::size_t inner = std::max(left, right);
    check(left != right && inner < has_edge_.size() && !has_edge_[inner], "an edge leads nowhere");
    has_edge_[inner] = true;
  }

  std::vector<bool> has_edge_;
  std::size_t boxes_ = 0;
  std::size_t nodes_ = 0;
  std::size_t edges_ = 0;
};

}  // namespace

// Checks the label in a line before the first node, if it has one: the caption or the legend.
static void check_heading(const std::string& line) {
  const std::size_t begin = line.find("label=<");
  if (begin == std::string::npos) return;
  check(line.back() == '>', "a label does not end its line");
  check_label(line.substr(begin + 7, line.size() - begin - 8));
}

static Statements check_dot(const std::string& dot, std::size_t boxes) {
  const std::vector<std::string> lines = lines_of(dot);
  std::size_t number = 0;
  check(next_line(lines, number) == "graph lanfab {", "a diagram for Graphviz has no beginning");
  const auto is_statement = [](const std::string& line) {
    return line.compare(0, 7, "    n0 ") == 0 || line.compare(0, 13, "    internet ") == 0;
  };
  for (std::string line = next_line(lines, number); !is_statement(line); line = next_line(lines, number))
    check_heading(line);
  check(lines.size() > 2 && lines.back() == "}" && lines[lines.size() - 2] == "  }",
        "a diagram for Graphviz has no end");
  Statements statements(boxes);
  for (--number; number + 2 < lines.size(); ++number) {
    check(is_safe_on_terminal(lines[number]), "a diagram for Graphviz has control characters");
    check(lines[number].compare(0, 4, "    ") == 0, "a diagram for Graphviz has another statement");
    statements.read(lines[number].substr(4));
  }
  statements.check_all();
  return statements;
}

// --- As SVG

// Drawing takes a hundred times as long as the rest, so only one of this many diagrams is drawn.
constexpr unsigned kDiagramsForOneDrawing = 500;

static void check_svg(const std::string& dot, const Statements& statements) {
  static unsigned diagrams = 0;
  if (diagrams++ % kDiagramsForOneDrawing != 0) return;
  std::string svg;
  const auto failure = draw(dot, svg);
  check(!failure.has_value(), failure ? failure->c_str() : "");
  check_drawing(svg, statements.nodes(), statements.edges());
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setlogmask(LOG_MASK(LOG_EMERG));
  static const bool is_utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  check(is_utf8, "the C library has no UTF-8");
  Source source{"network.json", configuration_of(data, size), {}};
  if (parse_configuration(source.text, source.root)) return 0;
  const std::vector<Finding> findings = examine(source);
  const Site site(source);
  const Node diagram = whole_diagram(site, findings);
  check_text(diagram, Charset::kAscii);
  check_text(diagram, Charset::kUtf8);
  const std::string dot = dot_diagram(diagram, {"network.json", "2000-02-29"}, {});
  check_svg(dot, check_dot(dot, count_boxes(diagram)));
  return 0;
}

// The diagram of a configuration, with what the rules find in it: as text, in Graphviz's language and as SVG.
// Whatever the configuration is, no finding is lost on the way, each output is well-formed, and no string of
// the configuration becomes a part of its syntax or something that a terminal obeys.

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

static std::size_t count_findings(const Part& part) {
  std::size_t count = part.findings.size();
  for (const Part& inner : part.parts)
    count += count_findings(inner);
  return count;
}

static std::size_t count_boxes(const Part& part) {
  std::size_t count = part.is_box() ? 1 : 0;
  for (const Part& inner : part.parts)
    count += count_boxes(inner);
  return count;
}

// Whether some part says that there are more findings than are shown.
static bool mentions_more_findings(const Part& part) {
  const bool is_note = part.text.find("more findings, not shown") != std::string::npos ||
                       part.text.find("of them with findings") != std::string::npos;
  return is_note || std::any_of(part.parts.begin(), part.parts.end(), mentions_more_findings);
}

// The diagram with its findings, cut to a legible size.
static Part whole_diagram(const Site& site, const std::vector<Finding>& findings) {
  Part diagram = picture_of(site);
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

static void check_text(const Part& diagram, Charset charset) {
  const std::string text = text_picture(diagram, charset, false);
  check(!text.empty() && text.back() == '\n', "a diagram is cut off");
  for (const std::string& line : lines_of(text)) {
    check(is_safe_on_terminal(line), "a diagram has something that a terminal obeys");
    const auto points = decode_utf8(line);
    check(columns_of(*points) <= 80, "a diagram is wider than a terminal");
    if (charset == Charset::kUtf8) continue;
    check(points->size() == line.size(), "a diagram in ASCII has something else in it");
  }
  check(without_color(text_picture(diagram, charset, true)) == text, "colors change a diagram");
}

// --- For Graphviz

static const std::string& next_line(const std::vector<std::string>& lines, std::size_t& number) {
  check(number < lines.size(), "a diagram for Graphviz is cut off");
  return lines[number++];
}

// A number that follows `name` at `position`, which is moved behind it.
static std::size_t number_of_box(const std::string& line, std::size_t& position) {
  check(position < line.size() && line[position] == 'n', "an edge without a box");
  const std::size_t begin = position + 1;
  position = std::min(line.find_first_not_of("0123456789", begin), line.size());
  check(position > begin, "an edge without a number");
  return std::stoul(line.substr(begin, position - begin));
}

// "n1 [fillcolor="#dde3ea", color="#57606a", label=<MARKUP>]"
static void check_box(const std::string& statement, std::size_t number) {
  const std::string form =
      "n" + std::to_string(number) + " [fillcolor=\"#######\", color=\"#######\", label=<";
  check(statement.size() > form.size() + 2, "a box is cut off");
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool is_digit = std::isxdigit(static_cast<unsigned char>(statement[i])) != 0;
    check(statement[i] == form[i] || (form[i] == '#' && is_digit), "a box is not a statement for a box");
  }
  check(statement.compare(statement.size() - 2, 2, ">]") == 0, "the label of a box does not end its line");
  check_label(statement.substr(form.size(), statement.size() - 2 - form.size()));
}

// The statements: boxes in the order of their numbers, and an edge from each but the first to another.
static void check_statements(const std::vector<std::string>& statements, std::size_t boxes) {
  std::size_t count = 0;
  std::vector<bool> has_edge(boxes, false);
  for (const std::string& statement : statements) {
    if (statement.find(" -- ") == std::string::npos || statement.find('[') != std::string::npos) {
      check_box(statement, count++);
      continue;
    }
    std::size_t position = 0;
    const std::size_t left = number_of_box(statement, position);
    check(statement.compare(position, 4, " -- ") == 0, "an edge is more than one edge");
    position += 4;
    const std::size_t right = number_of_box(statement, position);
    check(position == statement.size(), "an edge is more than one edge");
    const std::size_t inner = std::max(left, right);
    check(left != right && inner < boxes && !has_edge[inner], "an edge leads nowhere");
    has_edge[inner] = true;
  }
  check(count == boxes, "a box is missing");
  check(static_cast<std::size_t>(std::count(has_edge.begin(), has_edge.end(), true)) + 1 == boxes,
        "a box is not connected");
}

static void check_dot(const std::string& dot, std::size_t boxes) {
  const std::vector<std::string> lines = lines_of(dot);
  std::size_t number = 0;
  check(next_line(lines, number) == "graph lanfab {", "a diagram for Graphviz has no beginning");
  while (next_line(lines, number).compare(0, 4, "  n0") != 0)
    check(number < 8, "a diagram for Graphviz has no boxes");
  check(lines.back() == "}", "a diagram for Graphviz has no end");
  std::vector<std::string> statements;
  for (--number; number + 1 < lines.size(); ++number) {
    check(is_safe_on_terminal(lines[number]), "a diagram for Graphviz has control characters");
    check(lines[number].compare(0, 3, "  n") == 0, "a diagram for Graphviz has another statement");
    statements.push_back(lines[number].substr(2));
  }
  check_statements(statements, boxes);
}

// --- As SVG

// To draw takes a hundred times as long as all the rest: of so many diagrams, the first is drawn.
constexpr unsigned kDiagramsForOneDrawing = 500;

static void check_svg(const std::string& dot, std::size_t boxes) {
  static unsigned diagrams = 0;
  if (diagrams++ % kDiagramsForOneDrawing != 0) return;
  std::string svg;
  const auto failure = draw(dot, svg);
  check(!failure.has_value(), failure ? failure->c_str() : "");
  check_drawing(svg, boxes);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setlogmask(LOG_MASK(LOG_EMERG));
  static const bool is_utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  check(is_utf8, "the C library has no UTF-8");
  Source source{"network.json", configuration_of(data, size), {}};
  if (parse_configuration(source.text, source.root)) return 0;
  const std::vector<Finding> findings = examine(source);
  const Site site(source);
  const Part diagram = whole_diagram(site, findings);
  check_text(diagram, Charset::kAscii);
  check_text(diagram, Charset::kUtf8);
  const std::string dot = dot_picture(diagram);
  check_dot(dot, count_boxes(diagram));
  check_svg(dot, count_boxes(diagram));
  return 0;
}

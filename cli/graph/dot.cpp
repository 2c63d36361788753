#include "cli/graph/dot.h"

#include <algorithm>

#include "cli/graph/wrap.h"

// Of the lines in a box.
constexpr std::size_t kColumns = 39;
constexpr std::size_t kIndent = 2;

// Every box has its own light background under dark text, so the background of the page does not matter; the
// gray of the edges has a contrast of at least 3 to 1 on white and on black.
constexpr char kHead[] = R"(graph lanfab {
  graph [rankdir=LR, bgcolor=transparent, nodesep=0.2, ranksep=0.35]
  node [shape=box, style="rounded,filled", margin="0.15,0.1", penwidth=1.5, fontcolor="#1f2328",
        fontname="Helvetica,Arial,sans-serif", fontsize=11]
  edge [color="#818b98", penwidth=1.5]
)";
constexpr char kErrorColour[] = "#b3131c";
constexpr char kWarningColour[] = "#7d4e00";

namespace {

struct BoxColors {
  const char* fill;
  const char* line;
};

}  // namespace

static BoxColors colors_for(Part::Kind kind) {
  switch (kind) {
    case Part::Kind::kGateway:
      return {"#dde3ea", "#57606a"};
    case Part::Kind::kUplink:
      return {"#fff1cc", "#9a6700"};
    case Part::Kind::kLan:
      return {"#dbebff", "#0969da"};
    case Part::Kind::kTunnel:
    case Part::Kind::kFarEnd:
      return {"#ebdfff", "#8250df"};
    case Part::Kind::kNames:
      return {"#d9f5e0", "#1a7f37"};
    case Part::Kind::kAside:
    case Part::Kind::kLine:
      break;
  }
  return {"#eaeef2", "#818b98"};
}

static std::string escaped(const std::string& text) {
  std::string markup;
  for (const char c : text) {
    switch (c) {
      case '&':
        markup += "&amp;";
        break;
      case '<':
        markup += "&lt;";
        break;
      case '>':
        markup += "&gt;";
        break;
      case '"':
        markup += "&quot;";
        break;
      case ']':
        // Graphviz does not get to see one that is all of a text, and takes the element for empty.
        markup += "&#93;";
        break;
      default:
        markup += c;
    }
  }
  return markup;
}

// The lines of a text, each between `begin` and `end` of some markup; those after the first are indented.
static std::string markup_of(const std::string& text, std::size_t indent, const std::string& begin,
                             const std::string& end) {
  std::string markup;
  for (const std::string& line : wrapped(text, kColumns - indent, Charset::kUtf8)) {
    const std::size_t blanks = indent + (markup.empty() ? 0 : kIndent);
    for (std::size_t i = 0; i < blanks; ++i)
      markup += "&#160;";
    // An empty element would not parse.
    if (!line.empty()) markup.append(begin).append(escaped(line)).append(end);
    markup += "<br align=\"left\"/>";
  }
  return markup;
}

static std::string markup_of(const Finding& finding, std::size_t indent) {
  const std::string color = finding.severity == Severity::kError ? kErrorColour : kWarningColour;
  return markup_of(text_of(finding), indent, "<font color=\"" + color + "\">", "</font>");
}

static std::string findings_of(const Part& part, std::size_t indent) {
  std::string markup;
  for (const Finding& finding : part.findings)
    markup += markup_of(finding, indent);
  return markup;
}

// The lines of a box below its first ones.
static std::string lines_of(const Part& part, std::size_t indent) {
  std::string markup;
  for (const Part& inner : part.parts) {
    if (inner.is_box()) continue;
    const std::string text = inner.name + (inner.name.empty() || inner.text.empty() ? "" : "  ") + inner.text;
    markup += markup_of(text, indent, "", "");
    markup += findings_of(inner, indent) + lines_of(inner, indent + kIndent);
  }
  return markup;
}

namespace {

// One box after the other, each with a number as its name.
class DotWriter {
 public:
  // Returns the number of the box. `is_left` puts the boxes below it on its left.
  std::size_t add(const Part& part, bool is_left) {
    const std::size_t number = count_++;
    const BoxColors colors = colors_for(part.kind);
    std::string label = part.name.empty() ? "" : markup_of(part.name, 0, "<b>", "</b>");
    if (!part.text.empty()) label += markup_of(part.text, 0, "", "");
    label += findings_of(part, 0) + lines_of(part, 0);
    text_ += "  n" + std::to_string(number) + " [fillcolor=\"" + colors.fill + "\", color=\"" + colors.line +
             "\", label=<" + label + ">]\n";
    for (const Part& inner : part.parts) {
      if (inner.is_box()) add_edge(number, inner, is_left || leads_out(part, inner));
    }
    return number;
  }

  std::string take() {
    return kHead + text_ + "}\n";
  }

 private:
  static bool leads_out(const Part& part, const Part& inner) {
    return part.kind == Part::Kind::kGateway && inner.kind == Part::Kind::kUplink;
  }

  void add_edge(std::size_t number, const Part& inner, bool is_left) {
    const std::string outer_name = "n" + std::to_string(number);
    const std::string inner_name = "n" + std::to_string(add(inner, is_left));
    text_ += "  " + (is_left ? inner_name + " -- " + outer_name : outer_name + " -- " + inner_name) + "\n";
  }

  std::size_t count_ = 0;
  std::string text_;
};

}  // namespace

std::string dot_picture(const Part& picture) {
  DotWriter writer;
  writer.add(picture, false);
  return writer.take();
}

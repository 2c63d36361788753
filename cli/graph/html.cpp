#include "cli/graph/html.h"

#include "cli/base/markup.h"
#include "cli/base/terminal.h"
#include "cli/config_file/text_positions.h"
#include "cli/graph/palette.h"
#include "cli/lint/report.h"

constexpr char kStyle[] =
    R"(:root { color-scheme: light dark; --page: #ffffff; --text: #1f2328; --muted: #59636e; --line: #d0d7de;
  --head: #f6f8fa; --error: #b3131c; --warning: #7d4e00 }
body { margin: 0 auto; padding: 2rem; max-width: 100rem; background: var(--page); color: var(--text);
  font: 15px/1.5 Helvetica, Arial, sans-serif; overflow-wrap: anywhere }
h1 { margin: 0; font-size: 1.75rem }
h2 { margin: 2.5rem 0 .75rem; font-size: 1.2rem; break-after: avoid }
p { margin: .25rem 0; color: var(--muted) }
figure { margin: 1.5rem 0 0 }
svg { display: block; max-width: 100%; height: auto }
table { border-collapse: collapse; font-variant-numeric: tabular-nums }
th, td { padding: .35rem .9rem; border: 1px solid var(--line); text-align: left; vertical-align: top }
th { background: var(--head) }
tr { break-inside: avoid }
.error { color: var(--error); font-weight: bold }
.warning { color: var(--warning); font-weight: bold }
@media print { @page { size: landscape; margin: 12mm } body { padding: 0; font-size: 11px } }
)";

constexpr char kDarkPage[] =
    "  :root { --page: #0d1117; --text: #e6edf3; --muted: #9198a1; --line: #3d444d; --head: #161b22;\n"
    "    --error: #ff9492; --warning: #f0b72f }\n";

static std::string replacement(const char* property, const char* light, const char* dark) {
  const std::string name = property;
  return "  svg [" + name + "=\"" + light + "\"] { " + name + ": " + dark + " }\n";
}

// Replaces the colors of the page and the diagram on dark screens; a printed page stays light.
static std::string dark_style() {
  std::string style = "@media screen and (prefers-color-scheme: dark) {\n";
  style += kDarkPage;
  for (const BoxStyle& box : box_styles()) {
    style += replacement("fill", box.light.fill, box.dark.fill);
    style += replacement("stroke", box.light.line, box.dark.line);
  }
  for (const PageColor& color : {kBoxText, kPageText, kError, kWarning})
    style += replacement("fill", color.light, color.dark);
  return style + "}\n";
}

static std::string text_markup(const std::string& text) {
  return escaped(printable(text));
}

static std::string element(const std::string& name, const std::string& content, const char* attributes = "") {
  return "<" + name + attributes + ">" + content + "</" + name + ">";
}

static std::string finding_row(const Finding& finding, const TextPositions& positions) {
  const TextPosition position = positions.at(finding.range.begin);
  std::string message = text_markup(finding.message);
  for (const RelatedLocation& related : finding.details.related) {
    const std::string line = std::to_string(positions.at(related.range.begin).line);
    message += element("p", "line " + line + ": " + text_markup(related.message));
  }
  if (finding.unlisted > 0) message += element("p", "and " + std::to_string(finding.unlisted) + " more");
  const std::string severity = word_for(finding.severity);
  const std::string style = " class=\"" + severity + "\"";
  return element("tr", element("td", std::to_string(position.line) + ":" + std::to_string(position.column)) +
                           element("td", severity, style.c_str()) + element("td", message) +
                           element("td", text_markup(finding.rule))) +
         "\n";
}

static std::string findings_markup(const std::string& text, const std::vector<Finding>& findings) {
  if (findings.empty()) return "<p>None.</p>\n";
  const TextPositions positions(text);
  std::string rows = "<tr><th>Line</th><th>Severity</th><th>Finding</th><th>Rule</th></tr>\n";
  for (const Finding& finding : findings)
    rows += finding_row(finding, positions);
  Summary summary;
  count({findings, {}}, summary);
  return element("p", text_of(summary)) + "\n" + element("table", "\n" + rows) + "\n";
}

static std::string row_markup(const std::vector<std::string>& cells, const char* name) {
  std::string markup;
  for (const std::string& cell : cells)
    markup += element(name, text_markup(cell));
  return element("tr", markup) + "\n";
}

static std::string table_markup(const Table& table) {
  std::string rows = row_markup(table.columns, "th");
  for (const std::vector<std::string>& row : table.rows)
    rows += row_markup(row, "td");
  return element("h2", text_markup(table.title)) + "\n" + element("table", "\n" + rows) + "\n";
}

std::string html_page(const Caption& caption, const std::string& svg, const std::string& text,
                      const std::vector<Finding>& findings, const std::vector<Table>& tables) {
  const std::string title = text_markup(caption.title);
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\"\n"
      "  content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width\">\n";
  page += element("title", title) + "\n" + element("style", "\n" + (kStyle + dark_style())) +
          "\n</head>\n<body>\n";
  page += element("h1", title) + "\n" + element("p", text_markup(caption.subtitle)) + "\n";
  page += element("figure", "\n" + svg) + "\n";
  page += element("h2", "Findings") + "\n" + findings_markup(text, findings);
  for (const Table& table : tables)
    page += table_markup(table);
  return page + "</body>\n</html>\n";
}

// `lanfab graph`: draws a diagram of the network that a configuration describes.

#include <langinfo.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <map>

#include "cli/base/output.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/config_file/source.h"
#include "cli/graph/annotations.h"
#include "cli/graph/caption.h"
#include "cli/graph/diagram.h"
#include "cli/graph/dot.h"
#include "cli/graph/graphviz.h"
#include "cli/graph/html.h"
#include "cli/graph/shorten.h"
#include "cli/graph/tables.h"
#include "cli/graph/text_tree.h"
#include "cli/lint/allow.h"
#include "cli/lint/report.h"
#include "cli/lint/rules.h"
#include "cli/live/trial_state.h"

namespace {

enum class GraphFormat { kText, kDot, kSvg, kHtml };

struct GraphOptions {
  std::string file = active_configuration();  // "-" is standard input
  GraphFormat format = GraphFormat::kText;
  std::string title;  // if empty, the name of the file
  bool is_full = false;
  std::string output;  // file to write; if empty, standard output
};

}  // namespace

// Character set of the user's locale.
static Charset own_charset() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) return Charset::kAscii;
  const bool is_utf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
  freelocale(locale);
  return is_utf8 ? Charset::kUtf8 : Charset::kAscii;
}

namespace {

// Content of the diagram, for all formats.
struct Content {
  Node diagram{};
  Caption caption;
  std::vector<Table> tables;
  std::vector<Finding> findings;
};

}  // namespace

static std::string text_of(const Content& content, bool has_title, bool color) {
  const Charset charset = own_charset();
  std::string text;
  if (has_title) {
    text = styled(shown(content.caption.title, charset), "1", color) + "\n" +
           shown(content.caption.subtitle, charset) + "\n\n";
  }
  text += text_diagram(content.diagram, charset, color) + text_tables(content.tables, charset);
  if (content.findings.empty()) return text;
  Summary summary;
  count({content.findings, {}}, summary);
  return text + "\n" + text_of(summary) + "; 'lanfab check' shows their locations\n";
}

// Sets `page` to the HTML page. Returns nothing on success; otherwise an error message.
static std::optional<std::string> write_page(const Content& content, const Source& source,
                                             std::string& page) {
  std::string svg;
  // The drawing has no caption and no tables: the page itself has them.
  if (auto error = draw(dot_diagram(content.diagram, Caption(), {}), svg)) return error;
  page = html_page(content.caption, svg, source.text, content.findings, content.tables);
  return std::nullopt;
}

// Tables to show with the diagram: of every list in an HTML page, of the shortened lists with --full,
// otherwise none.
static std::vector<Table> tables_for(const GraphOptions& options, const Node& diagram) {
  if (options.format == GraphFormat::kHtml) return tables_of(diagram, TableScope::kEveryList);
  return options.is_full ? tables_of(diagram, TableScope::kShortenedLists) : std::vector<Table>();
}

// Sets `text` to the diagram in the chosen format. Returns nothing on success; otherwise an error message.
static std::optional<std::string> write(const GraphOptions& options, Source& source, std::string& text) {
  Content content;
  if (auto error = caption_file(options.file, options.title, content.caption)) return error;
  content.findings = judgement_of(source.text, examine(source), {}).findings;
  {
    const Site site(source);
    content.diagram = diagram_of(site);
    mark(content.findings, content.diagram);
  }
  content.tables = tables_for(options, content.diagram);
  summarize(content.diagram);
  if (options.format == GraphFormat::kText) {
    const bool has_terminal = options.output.empty() && is_terminal(STDOUT_FILENO);
    text = text_of(content, !options.title.empty(), wants_color(has_terminal));
    return std::nullopt;
  }
  if (options.format == GraphFormat::kHtml) return write_page(content, source, text);
  const std::string dot = dot_diagram(content.diagram, content.caption, content.tables);
  if (options.format == GraphFormat::kSvg) return draw(dot, text);
  text = dot;
  return std::nullopt;
}

// Returns the exit status: 0, or 2 on failure.
static int graph(const GraphOptions& options) {
  OutputFile output(options.output);
  const bool has_output = !options.output.empty();
  if (has_output) {
    if (const auto error = output.open()) return fail(*error);
  }
  Source source;
  if (const auto error = load_source(options.file, source)) return fail(error->message);
  std::string text;
  if (const auto error = write(options, source, text)) return fail("lanfab: " + *error);
  if (!has_output) {
    std::fwrite(text.data(), 1, text.size(), stdout);
  } else if (const auto error = output.write(text)) {
    return fail(*error);
  }
  return 0;
}

Command graph_command() {
  static GraphOptions options;
  const std::map<std::string, GraphFormat> formats = {{"text", GraphFormat::kText},
                                                      {"dot", GraphFormat::kDot},
                                                      {"svg", GraphFormat::kSvg},
                                                      {"html", GraphFormat::kHtml}};
  return {"graph",
          "Draw the network, with the findings of 'check'",
          {file_option(options.file),
           {"--format FORMAT",
            "text (default), dot, the language of Graphviz,\n"
            "svg, drawn by Graphviz, or html, a page with\n"
            "the diagram, the findings and tables",
            [formats](const std::string& name) { options.format = formats.at(name); },
            Completion::kNothing,
            {"text", "dot", "svg", "html"}},
           {"--title TITLE", "the title; default: the name of the file", &options.title},
           {"--full", "add tables with the lists that the diagram\nshortens; html always has them",
            &options.is_full},
           {"-o FILE", "write the diagram to this file", &options.output, Completion::kFile}},
          "Example: lanfab graph network.json --format svg -o network.svg",
          [] { return graph(options); }};
}

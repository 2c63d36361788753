// `lanfab graph`: a picture of the network that a configuration makes.

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
#include "cli/graph/diagram.h"
#include "cli/graph/dot.h"
#include "cli/graph/graphviz.h"
#include "cli/graph/shorten.h"
#include "cli/graph/text_tree.h"
#include "cli/lint/allow.h"
#include "cli/lint/report.h"
#include "cli/lint/rules.h"
#include "cli/live/trial_state.h"

namespace {

enum class GraphFormat { kText, kDot, kSvg };

struct GraphOptions {
  std::string file = active_configuration();  // "-" is standard input
  GraphFormat format = GraphFormat::kText;
  std::string output;  // the file to write; empty, standard output
};

}  // namespace

// That of the user's locale.
static Charset own_charset() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) return Charset::kAscii;
  const bool is_utf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
  freelocale(locale);
  return is_utf8 ? Charset::kUtf8 : Charset::kAscii;
}

static std::string text_of(const Part& picture, const std::vector<Finding>& findings, bool has_terminal) {
  std::string text = text_picture(picture, own_charset(), wants_color(has_terminal));
  if (findings.empty()) return text;
  Summary summary;
  count({findings, {}}, summary);
  return text + "\n" + text_of(summary) + "; lanfab check says where\n";
}

// Returns the exit status: 0, or 2 when there is no picture.
static int graph(const GraphOptions& options) {
  OutputFile output(options.output);
  const bool has_output = !options.output.empty();
  if (has_output) {
    if (const auto trouble = output.open()) return fail(*trouble);
  }
  Source source;
  if (const auto trouble = load_source(options.file, source)) return fail(trouble->message);
  const std::vector<Finding> findings = judgement_of(source.text, examine(source), {}).findings;
  const Site site(source);
  Part picture = picture_of(site);
  mark(findings, picture);
  summarize(picture);
  std::string text;
  if (options.format == GraphFormat::kText) {
    const bool has_terminal = !has_output && is_terminal(STDOUT_FILENO);
    text = text_of(picture, findings, has_terminal);
  } else {
    text = dot_picture(picture);
  }
  if (options.format == GraphFormat::kSvg) {
    std::string svg;
    if (const auto trouble = draw(text, svg)) return fail("lanfab: " + *trouble);
    text = std::move(svg);
  }
  if (!has_output) {
    std::fwrite(text.data(), 1, text.size(), stdout);
  } else if (const auto trouble = output.write(text)) {
    return fail(*trouble);
  }
  return 0;
}

Command graph_command() {
  static GraphOptions options;
  const std::map<std::string, GraphFormat> formats = {
      {"text", GraphFormat::kText}, {"dot", GraphFormat::kDot}, {"svg", GraphFormat::kSvg}};
  return {"graph",
          "Draw the network, with what check finds in it",
          {file_option(options.file),
           {"--format FORMAT",
            "text (default), dot, the language of Graphviz,\n"
            "or svg, drawn by Graphviz",
            [formats](const std::string& name) { options.format = formats.at(name); },
            Completion::kNothing,
            {"text", "dot", "svg"}},
           {"-o FILE", "write the picture into this file", &options.output, Completion::kFile}},
          "Example: lanfab graph network.json --format svg -o network.svg",
          [] { return graph(options); }};
}

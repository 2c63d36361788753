#include "cli/lint/rule_page.h"

#include <algorithm>

#include "cli/base/terminal.h"
#include "cli/lint/report.h"

// The contents of docs/checks.md.
extern const std::string_view kChecksPage;

// The section of the rule, from its heading to the next one; empty if the page has none.
static std::string_view section_of(const Rule& rule) {
  const std::string heading = std::string("\n### ") + rule.name + " (" + word_for(rule.severity) + ")\n";
  const std::size_t begin = kChecksPage.find(heading);
  if (begin == std::string_view::npos) return {};
  const std::string_view rest = kChecksPage.substr(begin + 5);
  return rest.substr(0, rest.find("\n\n#"));
}

// Removes the first line from the text, and returns it without its newline.
static std::string_view take_line(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

std::string entry_of(const Rule& rule) {
  std::string entry;
  bool is_example = false;
  for (std::string_view rest = section_of(rule); !rest.empty();) {
    const std::string_view line = take_line(rest);
    if (line.substr(0, 3) == "```") {
      is_example = !is_example;
      continue;
    }
    entry += (is_example ? "    " : "") + printable(line) + "\n";
  }
  return entry;
}

std::string_view explanation_of(const Rule& rule) {
  std::string_view section = section_of(rule);
  section = section.substr(0, section.find("\n\nExample:\n"));
  const std::size_t end_of_heading = std::min(section.find("\n\n"), section.size());
  return section.substr(std::min(end_of_heading + 2, section.size()));
}

#include "cli/lint/rule_page.h"

#include <string>

#include "cli/lint/report.h"

// docs/checks.md.
extern const std::string_view kChecksPage;

std::string_view entry_of(const Rule& rule) {
  const std::string heading = std::string("\n### ") + rule.name + " (" + word_for(rule.severity) + ")\n";
  const std::size_t begin = kChecksPage.find(heading);
  if (begin == std::string_view::npos) return {};
  const std::string_view rest = kChecksPage.substr(begin + 5);
  return rest.substr(0, rest.find("\n\n#"));
}

#include "cli/lint/report_github.h"

#include <string_view>

#include "cli/base/terminal.h"
#include "cli/config_file/text_positions.h"
#include "cli/lint/report.h"

// Characters that are escaped in the message and in the properties of a command.
constexpr char kSpecialInMessage[] = "%\r\n";
constexpr char kSpecialInProperty[] = "%\r\n:,";

// The text with special characters escaped, such as "%3A" for a colon.
static std::string escaped(const std::string& text, std::string_view special) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : printable(text, "\t\n")) {
    if (special.find(c) == std::string_view::npos) {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += {'%', kDigits[byte >> 4U], kDigits[byte & 0xfU]};
    }
  }
  return result;
}

static std::string command_for(const Source& source, const Finding& finding, const std::string& location,
                               const std::string& message) {
  return std::string("::") + word_for(finding.severity) +
         " file=" + escaped(source.name, kSpecialInProperty) + location +
         ",title=" + escaped(finding.rule, kSpecialInProperty) + "::" + escaped(message, kSpecialInMessage) +
         "\n";
}

// GitHub rejects columns if the range spans several lines.
static std::string location_properties(TextRange range, const TextPositions& positions) {
  const TextPosition begin = positions.at(range.begin);
  const TextPosition end = positions.at(range.end);
  std::string lines = ",line=" + std::to_string(begin.line) + ",endLine=" + std::to_string(end.line);
  if (begin.line != end.line) return lines;
  return lines + ",col=" + std::to_string(begin.column) + ",endColumn=" + std::to_string(end.column);
}

std::string github_report(const Source& source, const std::vector<Finding>& findings) {
  const TextPositions positions(source.text);
  std::string report;
  std::string unlisted;
  for (const Finding& finding : findings) {
    std::string message = finding.message;
    for (const RelatedLocation& related : finding.details.related) {
      const TextPosition position = positions.at(related.range.begin);
      message += "\nline " + std::to_string(position.line) + ", column " + std::to_string(position.column) +
                 ": " + related.message;
    }
    report += command_for(source, finding, location_properties(finding.range, positions), message);
    if (finding.unlisted > 0)
      unlisted += command_for(source, finding, "", "and " + std::to_string(finding.unlisted) + " more");
  }
  return report + unlisted;
}

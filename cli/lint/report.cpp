#include "cli/lint/report.h"

#include <algorithm>

#include "cli/base/secrets.h"
#include "cli/base/terminal.h"
#include "libcmd/configuration_text.h"

namespace {

// The positions of findings, which come in the order of the text: each is counted on from the one before.
class Positions {
 public:
  explicit Positions(const std::string& text) : text_(text) {}

  const Position& at(std::ptrdiff_t offset) {
    for (; place_ < offset; ++place_) {
      const bool is_line_end = text_[static_cast<std::size_t>(place_)] == '\n';
      position_.line += is_line_end ? 1 : 0;
      position_.column = is_line_end ? 1 : position_.column + 1;
    }
    return position_;
  }

 private:
  const std::string& text_;
  std::ptrdiff_t place_ = 0;
  Position position_;
};

}  // namespace

const char* word_for(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

// Whether the byte is one of a character in UTF-8, but not its first.
static bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

// Replaces the bytes of strings and numbers with asterisks: all below `value` if it is secret, and otherwise
// those of its members that are.
static void hide_secrets(const Json::Value& value, bool is_secret, std::string& text) {
  for (auto member = value.begin(); member != value.end(); ++member)
    hide_secrets(*member, is_secret || (value.isObject() && is_secret_name(member.name())), text);
  if (!is_secret || !(value.isString() || value.isNumeric())) return;
  const std::ptrdiff_t quote = value.isString() ? 1 : 0;
  std::fill(text.begin() + value.getOffsetStart() + quote, text.begin() + value.getOffsetLimit() - quote,
            '*');
}

// The text of the configuration without its keys. Each byte keeps its offset.
static std::string text_without_secrets(const Source& source) {
  std::string text = source.text;
  hide_secrets(source.root, false, text);
  return text;
}

// The line of the place and a caret under it; of a very long line, the part around the place. Every character
// in front of the caret keeps its width: a tab stays one, and of the bytes of a character in UTF-8 only the
// first counts.
static std::string excerpt_at(const std::string& text, std::ptrdiff_t offset, bool color) {
  constexpr std::size_t kMostBefore = 120;
  constexpr std::size_t kMostAfter = 80;
  const auto place = static_cast<std::size_t>(offset);
  const std::size_t before = place == 0 ? std::string::npos : text.rfind('\n', place - 1);
  const std::size_t line_begin = before == std::string::npos ? 0 : before + 1;
  const std::size_t line_end = std::min(text.find('\n', place), text.size());
  const std::size_t begin = std::max(line_begin, place - std::min(place, kMostBefore));
  const std::string head = printable(text.substr(begin, place - begin), "\t");
  const std::string tail =
      printable(text.substr(place, std::min(line_end, place + kMostAfter) - place), "\t");
  std::string indent;
  for (const char byte : head) {
    if (byte == '\t') {
      indent += '\t';
    } else if (!is_continuation(byte)) {
      indent += ' ';
    }
  }
  return "    " + head + tail + "\n    " + indent + styled("^", "1;32", color) + "\n";
}

static std::string styled_word(Severity severity, bool color) {
  return styled(std::string(word_for(severity)) + ": ", severity == Severity::kError ? "1;31" : "1;35",
                color);
}

void count(const std::vector<Finding>& findings, Summary& summary) {
  ++summary.files;
  for (const Finding& finding : findings)
    (finding.severity == Severity::kError ? summary.errors : summary.warnings) += 1 + finding.unlisted;
}

// "network.json: error: and 17 more [wrong-type]" for each rule that found more than are listed.
static std::string unlisted_report(const Source& source, const std::vector<Finding>& findings, bool color) {
  std::string report;
  for (const Finding& finding : findings) {
    if (finding.unlisted == 0) continue;
    report += styled(printable(source.name) + ": ", "1", color) + styled_word(finding.severity, color) +
              "and " + std::to_string(finding.unlisted) + " more [" + finding.rule + "]\n";
  }
  return report;
}

std::string text_report(const Source& source, const std::vector<Finding>& findings, bool excerpt,
                        bool color) {
  std::string report;
  const std::string shown = excerpt && !findings.empty() ? text_without_secrets(source) : std::string();
  Positions positions(source.text);
  for (const Finding& finding : findings) {
    const Position& position = positions.at(finding.range.begin);
    const std::string place = printable(source.name) + ":" + std::to_string(position.line) + ":" +
                              std::to_string(position.column) + ": ";
    report += styled(place, "1", color);
    report += styled_word(finding.severity, color);
    report += printable(finding.message, "\t") + " [" + finding.rule + "]\n";
    if (excerpt) report += excerpt_at(shown, finding.range.begin, color);
  }
  return report + unlisted_report(source, findings, color);
}

std::string text_of(const Summary& summary) {
  return counted(summary.errors, "error") + " and " + counted(summary.warnings, "warning") + " in " +
         counted(summary.files, "file");
}

Json::Value json_report(const Source& source, const std::vector<Finding>& findings) {
  Json::Value report(Json::objectValue);
  report["file"] = source.name;
  Json::Value& list = report["findings"] = Json::Value(Json::arrayValue);
  Positions positions(source.text);
  for (const Finding& finding : findings) {
    const Position& position = positions.at(finding.range.begin);
    Json::Value& entry = list.append(Json::Value(Json::objectValue));
    entry["line"] = position.line;
    entry["column"] = position.column;
    entry["severity"] = word_for(finding.severity);
    entry["rule"] = finding.rule;
    entry["message"] = finding.message;
    if (finding.unlisted > 0) report["unlisted"][finding.rule] = Json::UInt64{finding.unlisted};
  }
  return report;
}

#include "cli/lint/report.h"

#include <algorithm>

#include "cli/base/secrets.h"
#include "cli/base/terminal.h"
#include "cli/config_file/text_positions.h"
#include "cli/lint/excerpt.h"
#include "cli/lint/fix_words.h"

const char* word_for(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

// Replaces the bytes of secret strings and numbers with asterisks: everything in `value` if it is secret,
// otherwise its secret members.
static void hide_secrets(const Json::Value& value, bool is_secret, std::string& text) {
  for (auto member = value.begin(); member != value.end(); ++member)
    hide_secrets(*member, is_secret || (value.isObject() && is_secret_name(member.name())), text);
  if (!is_secret || !(value.isString() || value.isNumeric())) return;
  const std::ptrdiff_t quote = value.isString() ? 1 : 0;
  std::fill(text.begin() + value.getOffsetStart() + quote, text.begin() + value.getOffsetLimit() - quote,
            '*');
}

std::string text_without_secrets(const Source& source) {
  std::string text = source.text;
  if (source.root.isNull()) {
    blank_secrets(text);
  } else {
    hide_secrets(source.root, false, text);
  }
  return text;
}

static std::string styled_word(Severity severity, bool color) {
  return styled(std::string(word_for(severity)) + ": ", severity == Severity::kError ? "1;31" : "1;35",
                color);
}

void count(const Judgement& judgement, Summary& summary) {
  ++summary.files;
  for (const Finding& finding : judgement.findings)
    (finding.severity == Severity::kError ? summary.errors : summary.warnings) += 1 + finding.unlisted;
  for (const AllowedFinding& allowed : judgement.allowed)
    summary.allowed += 1 + allowed.finding.unlisted;
}

// "network.json: error: and 17 more [wrong-type]" for each rule with unlisted findings.
static std::string unlisted_report(const Source& source, const std::vector<Finding>& findings, bool color) {
  std::string report;
  for (const Finding& finding : findings) {
    if (finding.unlisted == 0) continue;
    report += styled(printable(source.name) + ": ", "1", color) + styled_word(finding.severity, color) +
              "and " + std::to_string(finding.unlisted) + " more [" + finding.rule + "]\n";
  }
  return report;
}

namespace {

// Makes lines that are about one location each: "network.json:14:9: note: already the network of eth0".
class Lines {
 public:
  Lines(const Source& source, const TextStyle& style)
      : source_(source), style_(style), positions_(source.text) {
    if (style.excerpt) shown_ = text_without_secrets(source);
  }

  std::string at(TextRange range, const std::string& word, const std::string& message,
                 bool has_excerpt = true) const {
    const TextPosition position = positions_.at(range.begin);
    const std::string location = printable(source_.name) + ":" + std::to_string(position.line) + ":" +
                                 std::to_string(position.column) + ": ";
    const std::string line = styled(location, "1", style_.color) + word + printable(message, "\t") + "\n";
    return style_.excerpt && has_excerpt ? line + excerpt_at(shown_, range, {style_.columns, style_.color})
                                         : line;
  }

 private:
  const Source& source_;
  const TextStyle& style_;
  TextPositions positions_;
  std::string shown_;
};

}  // namespace

// "network.json:4:18: note: replace with 24" for each edit. The excerpt is omitted if the edit begins where
// the finding does, whose excerpt is already shown.
static std::string notes_of_fix(const Lines& lines, const Source& source, const Finding& finding,
                                const TextStyle& style) {
  std::string notes;
  for (const Edit& edit : finding.details.fix) {
    const std::string advice = advice_of(source.text, finding, edit);
    if (advice.empty()) continue;
    notes += lines.at(edit.range, styled("note: ", "1;36", style.color), advice,
                      edit.range.begin != finding.range.begin);
  }
  return notes;
}

std::string text_report(const Source& source, const std::vector<Finding>& findings, const TextStyle& style) {
  if (findings.empty()) return "";
  const Lines lines(source, style);
  std::string report;
  for (const Finding& finding : findings) {
    report += lines.at(finding.range, styled_word(finding.severity, style.color),
                       finding.message + " [" + finding.rule + "]");
    for (const RelatedLocation& related : finding.details.related)
      report += lines.at(related.range, styled("note: ", "1;36", style.color), related.message);
    report += notes_of_fix(lines, source, finding, style);
  }
  return report + unlisted_report(source, findings, style.color);
}

std::string text_of(const Summary& summary) {
  return counted(summary.errors, "error") + " and " + counted(summary.warnings, "warning") + " in " +
         counted(summary.files, "file") +
         (summary.allowed > 0 ? ", " + std::to_string(summary.allowed) + " allowed" : "");
}

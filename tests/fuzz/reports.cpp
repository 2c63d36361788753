#include "reports.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "check.h"
#include "cli/lint/report.h"
#include "json_tokens.h"
#include "text.h"

static bool begins_with(const std::string& line, const std::string& beginning) {
  return line.compare(0, beginning.size(), beginning) == 0;
}

static bool ends_with(const std::string& line, const std::string& end) {
  return line.size() >= end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0;
}

static void check_line(const Source& source, const Finding& finding, const std::string& line) {
  const std::string location = line_and_column(source.text, static_cast<std::size_t>(finding.offset));
  const char* severity = finding.severity == Severity::kError ? ": error: " : ": warning: ";
  check(begins_with(line, source.name + ":" + location + severity), "a finding has another location");
  check(ends_with(line, " [" + finding.rule + "]"), "a finding does not name its rule");
  check(is_safe_on_terminal(line), "a finding has something that a terminal obeys");
}

static bool begins_character(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

// `shown` is a piece of a line of the text, and `pointer` has a caret under the character of the finding. An
// asterisk stands for a character of a secret.
static void check_excerpt(const Source& source, const Finding& finding, const std::string& shown,
                          const std::string& pointer) {
  check(is_safe_on_terminal(shown), "an excerpt has something that a terminal obeys");
  check(begins_with(shown, "    ") && begins_with(pointer, "    ") && ends_with(pointer, "^"),
        "an excerpt has no caret");
  std::size_t position = 0;
  for (std::size_t column = 0; column + 1 < pointer.size(); ++column) {
    check(position < shown.size() && pointer[column] == (shown[position] == '\t' ? '\t' : ' '),
          "the caret is not as far as what is above it");
    do {
      ++position;
    } while (position < shown.size() && !begins_character(shown[position]));
  }
  check(position < shown.size(), "the caret is behind the line");
  check(shown[position] == source.text[static_cast<std::size_t>(finding.offset)] || shown[position] == '*',
        "the caret is under something else");
}

void check_text_report(const Source& source, const std::vector<Finding>& findings) {
  const std::vector<std::string> lines = lines_of(text_report(source, findings, false, false));
  const auto counts = static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(), [](const Finding& one) { return one.unlisted > 0; }));
  check(lines.size() == findings.size() + counts, "a finding is not one line");
  const std::string report = text_report(source, findings, true, false);
  const std::vector<std::string> excerpts = lines_of(report);
  check(excerpts.size() == 3 * findings.size() + counts, "a finding with an excerpt is not three lines");
  for (std::size_t i = 0; i < findings.size(); ++i) {
    check_line(source, findings[i], lines[i]);
    check(excerpts[3 * i] == lines[i], "an excerpt has another finding above it");
    check_excerpt(source, findings[i], excerpts[3 * i + 1], excerpts[3 * i + 2]);
  }
  check(without_color(text_report(source, findings, true, true)) == report, "colors change a report");
}

void check_json_report(const Source& source, const std::vector<Finding>& findings) {
  const Json::Value report = json_report(source, findings);
  check(report["file"] == source.name, "a report does not name the file");
  check(report["findings"].size() == findings.size(), "a finding is not one entry");
  for (std::size_t i = 0; i < findings.size(); ++i) {
    const Json::Value& entry = report["findings"][static_cast<Json::ArrayIndex>(i)];
    const std::string location = line_and_column(source.text, static_cast<std::size_t>(findings[i].offset));
    check(entry["line"].asString() + ":" + entry["column"].asString() == location,
          "an entry has another location");
    check(entry["severity"] == (findings[i].severity == Severity::kError ? "error" : "warning"),
          "an entry has another severity");
    check(entry["rule"] == findings[i].rule, "an entry has another rule");
    check(entry["message"] == findings[i].message, "an entry has another message");
  }
}

#include "reports.h"

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cwchar>
#include <optional>
#include <string>
#include <utility>

#include "check.h"
#include "cli/lint/report.h"
#include "cli/lint/report_json.h"
#include "text.h"

static bool begins_with(const std::string& line, const std::string& beginning) {
  return line.compare(0, beginning.size(), beginning) == 0;
}

// Returns the location of an offset as "3:14:"; columns count characters. nullopt if there is invalid UTF-8
// before it in its line.
static std::optional<std::string> location_of(const std::string& text, std::ptrdiff_t offset) {
  const std::string before = text.substr(0, static_cast<std::size_t>(offset));
  const std::size_t line_begin = before.rfind('\n') + 1;
  const auto characters = decode_utf8(before.substr(line_begin));
  if (!characters) return std::nullopt;
  return std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ":" +
         std::to_string(characters->size() + 1) + ":";
}

static void check_line(const Source& source, TextRange range, const std::string& word,
                       const std::string& line) {
  check(begins_with(line, source.name + ":"), "a line names another file");
  if (const auto location = location_of(source.text, range.begin))
    check(begins_with(line, source.name + ":" + *location + " " + word + ": "),
          "a finding has another location");
  check(is_safe_on_terminal(line), "a finding has something that a terminal obeys");
}

// Returns the character above the caret, given the caret's column on a terminal; NUL if the caret is directly
// behind the last character.
static char32_t character_above(std::size_t caret, const std::u32string& characters) {
  std::size_t column = 0;
  for (const char32_t character : characters) {
    const int columns = wcwidth(static_cast<wchar_t>(character));
    if (column == caret && columns != 0) return character;
    check(column <= caret, "the caret is not as far as what is above it");
    column += columns < 0 ? 1 : static_cast<std::size_t>(columns);
  }
  check(column == caret, "the caret is behind the line");
  return U'\0';
}

// Checks an excerpt: `shown` is a part of a line of the file, and `pointer` must have a caret under the first
// character of the finding. The characters of a secret are shown as asterisks.
static void check_excerpt(const Source& source, TextRange range, const std::string& shown,
                          const std::string& pointer) {
  static const bool is_utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  check(is_utf8, "the C library has no UTF-8");
  check(is_safe_on_terminal(shown), "an excerpt has something that a terminal obeys");
  const std::size_t caret = pointer.find_first_not_of(' ');
  check(begins_with(shown, "    ") && caret != std::string::npos && caret >= 4 && pointer[caret] == '^' &&
            pointer.find_first_not_of('~', caret + 1) == std::string::npos,
        "an excerpt has no caret");
  const auto characters = decode_utf8(shown);
  check(characters.has_value(), "an excerpt is not UTF-8");
  const char32_t above = character_above(caret, *characters);
  const auto found = static_cast<unsigned char>(source.text[static_cast<std::size_t>(range.begin)]);
  check(above == found || above == U'*', "the caret is under something else");
  check(pointer.size() <= 80, "an excerpt is wider than the terminal");
}

// Returns the ranges of a finding and of its related locations, each with the word that introduces its
// message.
static std::vector<std::pair<TextRange, std::string>> locations_of(const Finding& finding) {
  std::vector<std::pair<TextRange, std::string>> locations = {
      {finding.range, finding.severity == Severity::kError ? "error" : "warning"}};
  for (const RelatedLocation& related : finding.details.related)
    locations.emplace_back(related.range, "note");
  return locations;
}

// Removes the fixes, because a note about a fix has no excerpt.
static std::vector<Finding> without_fixes(std::vector<Finding> findings) {
  for (Finding& finding : findings)
    finding.details.fix.clear();
  return findings;
}

void check_text_report(const Source& source, const std::vector<Finding>& all) {
  const std::vector<Finding> findings = without_fixes(all);
  std::size_t counts = 0;
  std::vector<std::pair<TextRange, std::string>> locations;
  for (const Finding& finding : findings) {
    for (auto& location : locations_of(finding))
      locations.push_back(std::move(location));
    counts += finding.unlisted > 0 ? 1 : 0;
  }
  const std::vector<std::string> lines = lines_of(text_report(source, findings, {false, false, 80}));
  check(lines.size() == locations.size() + counts, "a location is not one line");
  const std::string report = text_report(source, findings, {true, false, 80});
  const std::vector<std::string> excerpts = lines_of(report);
  check(excerpts.size() == 3 * locations.size() + counts, "a location with an excerpt is not three lines");
  for (std::size_t i = 0; i < locations.size(); ++i) {
    const auto& [range, word] = locations[i];
    check_line(source, range, word, lines[i]);
    check(excerpts[3 * i] == lines[i], "an excerpt has another location above it");
    check_excerpt(source, range, excerpts[3 * i + 1], excerpts[3 * i + 2]);
  }
  check(without_color(text_report(source, findings, {true, true, 80})) == report, "colors change a report");
}

static void check_location(const Source& source, TextRange range, const Json::Value& entry) {
  const auto begin = location_of(source.text, range.begin);
  const auto end = location_of(source.text, range.end);
  check(!begin || entry["line"].asString() + ":" + entry["column"].asString() + ":" == *begin,
        "an entry has another location");
  check(!end || entry["end_line"].asString() + ":" + entry["end_column"].asString() + ":" == *end,
        "an entry has another end");
}

void check_json_report(const Source& source, const std::vector<Finding>& findings) {
  const Json::Value report = json_report(source, {findings, {}});
  check(report["file"] == source.name, "a report does not name the file");
  check(report["findings"].size() == findings.size(), "a finding is not one entry");
  for (std::size_t i = 0; i < findings.size(); ++i) {
    const Json::Value& entry = report["findings"][static_cast<Json::ArrayIndex>(i)];
    check_location(source, findings[i].range, entry);
    check(entry["severity"] == (findings[i].severity == Severity::kError ? "error" : "warning"),
          "an entry has another severity");
    check(entry["rule"] == findings[i].rule, "an entry has another rule");
    check(entry["message"] == findings[i].message, "an entry has another message");
    const auto& related = findings[i].details.related;
    check(entry["related"].size() == related.size(), "a related location is not one entry");
    for (std::size_t j = 0; j < related.size(); ++j)
      check_location(source, related[j].range, entry["related"][static_cast<Json::ArrayIndex>(j)]);
  }
}

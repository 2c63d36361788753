#include "cli/lint/fix_words.h"

static std::string piece(const std::string& text, TextRange range) {
  return text.substr(static_cast<std::size_t>(range.begin),
                     static_cast<std::size_t>(range.end - range.begin));
}

// The text on one line, with a single space for each sequence of blanks and line ends.
static std::string shown(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool is_blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (!is_blank || line.empty() || line.back() != ' ') line += is_blank ? ' ' : c;
  }
  return line;
}

// The inserted text without the commas and blanks at its ends; in quotes if it consists only of these.
static std::string without_separator(const std::string& inserted) {
  const std::string line = shown(inserted);
  const std::size_t begin = line.find_first_not_of(", ");
  if (begin == std::string::npos) return '"' + inserted + '"';
  return line.substr(begin, line.find_last_not_of(", ") + 1 - begin);
}

std::string advice_of(const std::string& text, const Finding& finding, const Edit& edit) {
  const std::string old = piece(text, edit.range);
  if (edit.replacement.empty()) return "remove \"" + old + "\"";
  if (old.empty()) return "insert " + without_separator(edit.replacement);
  const std::string replacement = shown(edit.replacement);
  const bool is_in_message = finding.message.find("did you mean " + replacement + "?") != std::string::npos;
  return is_in_message ? "" : "replace with " + replacement;
}

static std::string change_of(const std::string& old, const Edit& edit) {
  if (edit.replacement.empty()) return "removed \"" + old + "\"";
  if (old.empty()) return "inserted " + without_separator(edit.replacement);
  return shown(old) + " is now " + shown(edit.replacement);
}

std::string change_of(const std::string& text, const std::vector<Edit>& fix) {
  std::string words;
  for (const Edit& edit : fix)
    words += (words.empty() ? "" : ", ") + change_of(piece(text, edit.range), edit);
  return words;
}

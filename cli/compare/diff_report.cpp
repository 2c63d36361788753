#include "cli/compare/diff_report.h"

#include <cstdio>
#include <sstream>

#include "cli/base/terminal.h"

// SGR codes of the colors that git uses in differences.
constexpr char kBold[] = "1";
constexpr char kRed[] = "31";
constexpr char kGreen[] = "32";
constexpr char kCyan[] = "36";

static std::string octal(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode));
  return text;
}

std::string summary_text(const DiffReport& report, bool color) {
  if (report.files.empty()) return {};
  std::string text;
  for (const std::string& sentence : report.sentences)
    text += printable(sentence) + "\n";
  if (report.interrupts.empty()) return text;
  text += (text.empty() ? "" : "\n") + styled("Interrupts:", kBold, color) + "\n";
  for (const Interrupt& interrupt : report.interrupts)
    text += "  " + printable(interrupt.sentence) + "\n";
  return text;
}

// The SGR code for a line of a difference. The lines above the first hunk are its head.
static const char* color_of(const std::string& line, bool is_head) {
  if (is_head) return kBold;
  switch (line.empty() ? ' ' : line[0]) {
    case '-':
      return kRed;
    case '+':
      return kGreen;
    case '@':
      return kCyan;
    default:
      return "";
  }
}

static std::string colored(const std::string& difference) {
  std::string text;
  std::istringstream lines(difference);
  bool is_head = true;
  for (std::string line; std::getline(lines, line);) {
    is_head = is_head && line.compare(0, 2, "@@") != 0;
    text += styled(line, color_of(line, is_head), true) + "\n";
  }
  return text;
}

static std::string text_of(const FileDifference& file) {
  const std::string name = quoted_if_needed(file.path);
  if (!file.same_as.empty()) return name + " differs as " + quoted_if_needed(file.same_as) + " does\n";
  if (!file.has_other_mode()) return file.text;
  return "mode " + octal(file.before->mode) + " becomes " + octal(file.after->mode) + ": " + name + "\n" +
         file.text;
}

std::string differences_text(const DiffReport& report, bool for_terminal, bool color) {
  std::string text;
  for (const FileDifference& file : report.files) {
    if (file.path == kCommands && !text.empty()) text += "\n";
    const std::string difference = for_terminal ? printable(text_of(file), "\t\n") : text_of(file);
    text += color ? colored(difference) : difference;
  }
  return text;
}

static const char* change_of(const FileDifference& file) {
  if (file.before == nullptr) return "created";
  return file.after == nullptr ? "removed" : "modified";
}

static Json::Value json_of(const Interrupt& interrupt) {
  Json::Value value(Json::objectValue);
  value["kind"] = interrupt.kind;
  value["subjects"] = Json::arrayValue;
  for (const std::string& subject : interrupt.subjects)
    value["subjects"].append(subject);
  value["sentence"] = interrupt.sentence;
  return value;
}

static Json::Value json_of(const FileDifference& file) {
  Json::Value value(Json::objectValue);
  value["path"] = file.path;
  value["change"] = change_of(file);
  value["diff"] = file.text;
  if (file.before != nullptr) value["old_mode"] = octal(file.before->mode);
  if (file.after != nullptr) value["new_mode"] = octal(file.after->mode);
  return value;
}

Json::Value diff_json(const DiffReport& report) {
  Json::Value root(Json::objectValue);
  for (const char* key : {"sentences", "interrupts", "files"})
    root[key] = Json::arrayValue;
  root["commands"] = "";
  for (const std::string& sentence : report.sentences)
    root["sentences"].append(sentence);
  for (const Interrupt& interrupt : report.interrupts)
    root["interrupts"].append(json_of(interrupt));
  for (const FileDifference& file : report.files) {
    if (file.path == kCommands) {
      root["commands"] = file.text;
    } else {
      root["files"].append(json_of(file));
    }
  }
  return root;
}

#include "cli/commands/check_fix.h"

#include "cli/base/file.h"
#include "cli/base/output.h"
#include "cli/base/secrets.h"
#include "cli/base/terminal.h"
#include "cli/compare/unified_diff.h"
#include "cli/config_file/edit.h"
#include "cli/lint/fix_words.h"
#include "cli/lint/fixes.h"
#include "cli/lint/report.h"
#include "libcmd/configuration_text.h"

constexpr char kByteOrderMark[] = "\xef\xbb\xbf";

// "network.json:4:18: fixed: "24" is now 24 [wrong-type]"
static std::string line_about(const Source& source, const Finding& finding) {
  const Position position = position_of(source.text, finding.range.begin);
  return printable(source.name) + ":" + std::to_string(position.line) + ":" +
         std::to_string(position.column) +
         ": fixed: " + printable(change_of(source.text, finding.details.fix), "\t") + " [" + finding.rule +
         "]";
}

FixedText apply_fixes(Source& source, Judgement& judgement, const Judge& judge) {
  // More rounds than fixes ever need.
  constexpr int kMostRounds = 20;
  FixedText fixed{source.text, {}};
  for (int round = 0; round < kMostRounds; ++round) {
    const std::vector<Edit> edits = all_edits(judgement.findings);
    if (edits.empty()) break;
    for (const Finding& finding : judgement.findings)
      if (!finding.details.fix.empty()) fixed.report.push_back(line_about(source, finding));
    source.text = apply_edits(source.text, edits);
    judgement = judge(source);
  }
  return fixed;
}

std::optional<std::string> write_fixed(const std::string& file, const Source& source,
                                       const FixedText& fixed) {
  OutputFile output(file);
  if (auto error = output.open()) return error;
  File present;
  if (!read_file(file, present)) return with_errno(file);
  const bool has_mark = present.content == kByteOrderMark + fixed.before;
  if (!has_mark && present.content != fixed.before)
    return printable(file) + ": not written, since it has changed meanwhile";
  return output.write((has_mark ? kByteOrderMark : "") + source.text, Owner::kKept);
}

// The text without its secrets. If it cannot be parsed, the rest of each line with a key is hidden, too.
static std::string without_secrets(const std::string& text) {
  Source source{"", text, {}};
  return parse_configuration(source.text, source.root) ? SecretMask().masked(text)
                                                       : text_without_secrets(source);
}

std::string diff_of_fixes(const Source& source, const FixedText& fixed) {
  if (source.text == fixed.before) return "";
  return unified_diff(source.name, without_secrets(fixed.before), source.name, without_secrets(source.text))
      .text;
}

#include "cli/compare/unified_diff.h"

#include <sstream>
#include <vector>

#include "dtl/dtl.hpp"

// The lines without their newlines. diff's note is appended to a last line that has no newline.
static std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  if (!text.empty() && text.back() != '\n') lines.back() += "\n\\ No newline at end of file";
  return lines;
}

UnifiedDiff unified_diff(const std::string& old_name, const std::string& old_text,
                         const std::string& new_name, const std::string& new_text) {
  if (old_text == new_text && old_name == new_name) return {};
  std::ostringstream out;
  out << "--- " << old_name << "\n+++ " << new_name << "\n";
  dtl::Diff<std::string> diff(lines_of(old_text), lines_of(new_text));
  diff.onHuge();
  diff.compose();
  diff.composeUnifiedHunks();
  auto hunks = diff.getUniHunks();
  for (auto& hunk : hunks) {
    // A hunk without lines on one side gets the number of the line before it.
    if (hunk.b == 0) --hunk.a;
    if (hunk.d == 0) --hunk.c;
  }
  dtl::Diff<std::string>::printUnifiedFormat(hunks, out);
  UnifiedDiff result{out.str(), {}, {}};
  std::size_t old_number = 0;
  std::size_t new_number = 0;
  for (const auto& [line, edit] : diff.getSes().getSequence()) {
    if (edit.type == dtl::SES_DELETE) result.removed.push_back(old_number);
    if (edit.type == dtl::SES_ADD) result.added.push_back(new_number);
    if (edit.type != dtl::SES_ADD) ++old_number;
    if (edit.type != dtl::SES_DELETE) ++new_number;
  }
  return result;
}

#include "cli/history/list.h"

#include <cstdio>

#include "cli/base/sha256.h"
#include "cli/base/terminal.h"
#include "cli/base/time_text.h"

static std::string line_of(const HistoryEntry& entry) {
  constexpr std::size_t kDigits = 12;
  char number[32];
  std::snprintf(number, sizeof number, "%4lld  ", static_cast<long long>(entry.number));
  if (!entry.damage.empty()) return number + ("damaged: " + printable(entry.damage)) + "\n";
  const std::string who = entry.who + (entry.comment.empty() ? "" : ": " + entry.comment);
  return number + time_text(static_cast<std::time_t>(entry.time)) + "  " +
         sha256(entry.configuration).substr(0, kDigits) + "  " + printable(who) + "\n";
}

std::string list_text(const std::vector<HistoryEntry>& entries) {
  std::string text;
  for (const HistoryEntry& entry : entries)
    text += line_of(entry);
  return text;
}

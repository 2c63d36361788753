#include "cli/status/allowances.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"

constexpr off_t kLargestFile = 64 * 1024;
constexpr char kBlanks[] = " \t\r";
constexpr char kAllowsNothing[] = "it is ignored";

AllowedDrift parse_allowances(const std::string& text) {
  AllowedDrift allowances;
  std::istringstream lines(text);
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const std::string content = trimmed(line, kBlanks);
    if (content.empty() || content.front() == '#') continue;
    // The subject may be a path or an address with colons.
    const std::size_t separator = content.find(": ");
    if (separator != std::string::npos && separator > 0) {
      allowances.patterns.push_back(
          {content.substr(0, separator), trimmed(content.substr(separator + 1), kBlanks)});
    } else {
      allowances.errors.push_back({kAllowFile, "line " + std::to_string(number) + " is not \"SUBJECT: TEXT\"",
                                   false, kAllowsNothing, ""});
    }
  }
  return allowances;
}

bool matches_pattern(const std::string& pattern, const std::string& text) {
  std::size_t p = 0;
  std::size_t t = 0;
  // Where to continue after a mismatch: behind the last star, which then matches one more character.
  std::size_t star = std::string::npos;
  std::size_t retry = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = ++p;
      retry = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string::npos) {
      p = star;
      t = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string::npos;
}

// Returns no allowances if the file does not exist or cannot be read.
static AllowedDrift read_allowances(std::vector<std::string>& not_checked) {
  struct stat status {};
  File file;
  const bool is_there = stat(kAllowFile, &status) == 0;
  if (is_there && status.st_size > kLargestFile) {
    return {{}, {{kAllowFile, "it is larger than 64 KiB", false, kAllowsNothing, ""}}};
  }
  if (is_there && read_file(kAllowFile, file)) return parse_allowances(file.content);
  if (errno != ENOENT && errno != ENOTDIR) not_checked.push_back(with_errno(kAllowFile));
  return {};
}

void set_allowed_aside(std::vector<Drift>& drift, std::vector<Drift>& allowed,
                       std::vector<std::string>& not_checked) {
  const AllowedDrift allowances = read_allowances(not_checked);
  const auto is_reported = [&allowances](const Drift& one) {
    return std::none_of(allowances.patterns.begin(), allowances.patterns.end(), [&one](const auto& pattern) {
      return matches_pattern(pattern.subject, one.subject) && matches_pattern(pattern.what, one.what);
    });
  };
  const auto first_allowed = std::stable_partition(drift.begin(), drift.end(), is_reported);
  allowed.assign(std::make_move_iterator(first_allowed), std::make_move_iterator(drift.end()));
  drift.erase(first_allowed, drift.end());
  drift.insert(drift.end(), allowances.errors.begin(), allowances.errors.end());
}

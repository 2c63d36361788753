#include "cli/config_file/nearest.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <sstream>
#include <string_view>

#include "cli/base/terminal.h"

constexpr std::size_t kMaxEdits = 2;

static char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

static bool is_same_letter(char a, char b) {
  return lower(a) == lower(b);
}

// Whether at most `edits` edits turn one string into the other. Tries every edit that removes the first
// difference.
static bool is_within(std::size_t edits, std::string_view a, std::string_view b) {
  const auto [a_rest, b_rest] = std::mismatch(a.begin(), a.end(), b.begin(), b.end(), is_same_letter);
  a.remove_prefix(static_cast<std::size_t>(a_rest - a.begin()));
  b.remove_prefix(static_cast<std::size_t>(b_rest - b.begin()));
  if (edits == 0 || a.empty() || b.empty()) return std::max(a.size(), b.size()) <= edits;
  const bool is_swapped =
      a.size() > 1 && b.size() > 1 && is_same_letter(a[0], b[1]) && is_same_letter(a[1], b[0]);
  return is_within(edits - 1, a.substr(1), b.substr(1)) || is_within(edits - 1, a.substr(1), b) ||
         is_within(edits - 1, a, b.substr(1)) ||
         (is_swapped && is_within(edits - 1, a.substr(2), b.substr(2)));
}

// The candidates with the fewest edits from `word`; none if they take too many edits.
static std::vector<std::string> all_nearest(const std::string& word,
                                            const std::vector<std::string>& candidates) {
  std::vector<std::string> found;
  for (std::size_t edits = 0; edits <= kMaxEdits && (edits == 0 || 2 * edits < word.size()); ++edits) {
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(found),
                 [&](const std::string& candidate) { return is_within(edits, word, candidate); });
    if (!found.empty()) break;
  }
  return found;
}

std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& candidates) {
  const std::vector<std::string> found = all_nearest(word, candidates);
  return found.empty() ? std::nullopt : std::optional(found.front());
}

static std::string digits_of(const std::string& word) {
  std::string digits;
  std::copy_if(word.begin(), word.end(), std::back_inserter(digits),
               [](char letter) { return letter >= '0' && letter <= '9'; });
  return digits;
}

std::optional<std::string> certainly_meant(const std::string& word,
                                           const std::vector<std::string>& candidates) {
  const std::vector<std::string> found = all_nearest(word, candidates);
  if (found.size() != 1) return std::nullopt;
  const std::string digits = digits_of(word);
  if (!digits.empty() && digits != digits_of(found.front())) return std::nullopt;
  return found.front();
}

// Whether `whole` has all hyphen-separated parts of `name`.
static bool has_parts(const std::string& whole, const std::string& name) {
  std::istringstream parts(name);
  for (std::string part; std::getline(parts, part, '-');)
    if (("-" + whole + "-").find("-" + part + "-") == std::string::npos) return false;
  return true;
}

// The known name with all parts of `name`, if there is exactly one.
static std::optional<std::string> only_with_parts(const std::string& name,
                                                  const std::vector<std::string>& known) {
  std::vector<std::string> found;
  std::copy_if(known.begin(), known.end(), std::back_inserter(found),
               [&name](const std::string& one) { return has_parts(one, name); });
  return found.size() == 1 ? std::optional(found.front()) : std::nullopt;
}

std::string unknown_name(const std::string& what, const std::string& name,
                         const std::vector<std::string>& known, const std::string& list) {
  const std::string beginning = "unknown " + what + " \"" + printable(name) + "\"";
  auto wanted = nearest(name, known);
  if (!wanted && !name.empty()) wanted = only_with_parts(name, known);
  return beginning + (wanted ? ": did you mean \"" + *wanted + "\"?" : "; " + list);
}

#include "cli/lint/fixes.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "cli/config_file/edit.h"
#include "cli/config_file/schema.h"
#include "cli/lint/ipv4.h"
#include "cli/lint/rules.h"
#include "cli/lint/value_fixes.h"
#include "libcmd/configuration_text.h"

// The size of the largest text that gets fixes, and the total size of the texts that are examined for it, in
// bytes.
constexpr std::size_t kLargestText = 250'000;
constexpr std::size_t kMostExamined = 3'000'000;

// The maximum number of layers of a fix: the fix itself, and then the fixes of what each layer uncovers.
constexpr int kMostLayers = 8;

static std::size_t at(std::ptrdiff_t offset) {
  return static_cast<std::size_t>(offset);
}

// --- Strings with superfluous characters

static std::size_t size_of_network(const std::string& text) {
  const std::size_t slash = std::min(text.find('/'), text.size());
  return text.substr(slash) == "/32" && parse_ipv4(text.substr(0, slash)) ? slash : text.size();
}

// Edits that remove blanks at the ends of a string, and "/32" after an address. They contain no part of the
// string, which may be a secret key.
static std::vector<Edit> reductions(const std::string& text, TextRange literal) {
  const TextRange inside{literal.begin + 1, literal.end - 1};
  const std::string string = text.substr(at(inside.begin), at(inside.end - inside.begin));
  const std::size_t begin = string.find_first_not_of(" \t");
  if (begin == std::string::npos) return {};
  const std::string trimmed = string.substr(begin, string.find_last_not_of(" \t") + 1 - begin);
  const std::size_t end = begin + size_of_network(trimmed);
  std::vector<Edit> edits;
  if (begin > 0) edits.push_back({{inside.begin, inside.begin + static_cast<std::ptrdiff_t>(begin)}, ""});
  if (end < string.size())
    edits.push_back({{inside.begin + static_cast<std::ptrdiff_t>(end), inside.end}, ""});
  return edits;
}

// --- Values that the schema does not allow

// The replacements of the values that the schema does not allow, where the meaning is certain, by offset.
static std::map<std::ptrdiff_t, Edit> allowed_values(const Json::Value& root) {
  std::map<std::ptrdiff_t, Edit> edits;
  for_each_violation(root, [&edits](const Violation& violation) {
    if (auto literal = allowed_literal(*violation.value, *violation.schema))
      edits.emplace(violation.value->getOffsetStart(), replace_value(*violation.value, *literal));
  });
  return edits;
}

// Adds fixes that follow from the value alone, whatever the rule is, to findings that have none. If several
// findings are about the same value, only the first one gets its replacement.
static void add_fixes(const Source& source, std::vector<Finding>& findings) {
  std::map<std::ptrdiff_t, Edit> values = allowed_values(source.root);
  for (Finding& finding : findings) {
    const TextRange range = finding.range;
    const bool is_string = range.end - range.begin >= 2 && source.text[at(range.begin)] == '"';
    const auto value = values.find(range.begin);
    if (!finding.details.fix.empty()) continue;
    if (value != values.end() && value->second.range.end == range.end) {
      finding.details.fix.push_back(value->second);
      values.erase(value);
    } else if (is_string) {
      finding.details.fix = reductions(source.text, range);
    }
  }
}

// --- Certain fixes

namespace {

// Known findings, which can be recognized in an edited text: at the same location, even with another
// message, or as an unlisted finding of the same rule.
class Known {
 public:
  explicit Known(const std::vector<Finding>& findings) {
    for (const Finding& finding : findings) {
      messages_.insert({{finding.rule, finding.range.begin}, finding.message});
      unlisted_[finding.rule] += finding.unlisted;
    }
  }

  void remove(const Finding& finding) {
    take(finding, finding.range.begin, true);
  }

  // Returns the findings that are not known. They were found in `text`.
  std::vector<Finding> added(std::vector<Finding> findings, const EditedText& text) && {
    const auto remove_if = [&findings](const auto& is_known) {
      findings.erase(std::remove_if(findings.begin(), findings.end(), is_known), findings.end());
    };
    const auto location = [&text](const Finding& finding) { return text.origin_of(finding.range.begin); };
    remove_if([&](const Finding& finding) { return take(finding, location(finding), true); });
    remove_if([&](const Finding& finding) { return take(finding, location(finding), false); });
    remove_if([&](const Finding& finding) { return take_unlisted(finding); });
    return findings;
  }

 private:
  // Removes a known finding at the location, if `has_same_message` with the same message. Returns false if
  // there is none.
  bool take(const Finding& finding, std::ptrdiff_t location, bool has_same_message) {
    const auto [begin, end] = messages_.equal_range({finding.rule, location});
    const auto found = std::find_if(
        begin, end, [&](const auto& entry) { return !has_same_message || entry.second == finding.message; });
    if (found == end || finding.unlisted > unlisted_[finding.rule]) return false;
    messages_.erase(found);
    return true;
  }

  // Takes the finding for an unlisted one of its rule. Returns false if none are left.
  bool take_unlisted(const Finding& finding) {
    std::size_t& number = unlisted_[finding.rule];
    if (number < 1 + finding.unlisted) return false;
    --number;
    return true;
  }

  std::multimap<std::pair<std::string, std::ptrdiff_t>, std::string> messages_;
  std::map<std::string, std::size_t> unlisted_;
};

using FindingIterator = std::vector<Finding>::iterator;

// Decides which of the findings' fixes are certain.
class Settler {
 public:
  Settler(const std::string& text, const std::vector<Finding>& findings)
      : text_(text), before_(findings), left_(findings) {}

  // Removes the fixes that are not certain from these findings, all of which have a fix. Tries all fixes at
  // once and, if that fails, each half: most fixes are certain.
  void settle(FindingIterator begin, FindingIterator end) {
    if (accept(begin, end)) return;
    if (examined_ > kMostExamined) {
      std::for_each(begin, end, [](Finding& finding) { finding.details.fix.clear(); });
    } else if (end - begin == 1) {
      begin->details.fix = with_uncovered(*begin);
      if (!accept(begin, end)) begin->details.fix.clear();
    } else {
      const FindingIterator middle = begin + (end - begin) / 2;
      settle(begin, middle);
      settle(middle, end);
    }
  }

 private:
  // Accepts the fixes if all of them are certain. Returns whether they are.
  bool accept(FindingIterator begin, FindingIterator end) {
    std::vector<Edit> edits = accepted_;
    Known left = left_;
    for (auto finding = begin; finding != end; ++finding) {
      const std::vector<Edit>& fix = finding->details.fix;
      if (fix.empty()) return false;
      edits.insert(edits.end(), fix.begin(), fix.end());
      left.remove(*finding);
    }
    examined_ += text_.size();
    if (any_overlap(edits)) return false;
    EditedText edited(text_);
    edited.apply(edits);
    auto found = examined(edited.text());
    if (!found || !Known(left).added(std::move(*found), edited).empty()) return false;
    accepted_ = std::move(edits);
    left_ = std::move(left);
    return true;
  }

  // The fix of a finding, extended by fixes of the findings that it uncovers; empty if these cannot be
  // fixed.
  std::vector<Edit> with_uncovered(const Finding& finding) {
    EditedText edited(text_);
    std::vector<Edit> fix = finding.details.fix;
    for (int layer = 0; layer < kMostLayers && !fix.empty(); ++layer) {
      edited.apply(fix);
      auto found = examined(edited.text());
      if (!found) break;
      std::vector<Finding> added = Known(before_).added(std::move(*found), edited);
      if (added.empty()) return edited.edits();
      fix = all_edits(added);
    }
    return {};
  }

  // The findings in a text, with their fixes. Nothing if the text cannot be parsed, or if too much has been
  // examined.
  std::optional<std::vector<Finding>> examined(const std::string& text) {
    examined_ += text.size();
    Source source{"", text, {}};
    if (examined_ > kMostExamined || parse_configuration(source.text, source.root)) return std::nullopt;
    std::vector<Finding> findings = examine(source);
    add_fixes(source, findings);
    return findings;
  }

  const std::string& text_;
  const Known before_;  // the findings without any fix
  Known left_;          // the findings that the accepted fixes leave
  std::vector<Edit> accepted_;
  std::size_t examined_ = 0;
};

}  // namespace

// All findings, allowed or not.
static std::vector<Finding> all_of(const Judgement& judgement) {
  std::vector<Finding> findings = judgement.findings;
  for (const AllowedFinding& allowed : judgement.allowed)
    findings.push_back(allowed.finding);
  return findings;
}

void settle_fixes(const std::string& text, Judgement& judgement) {
  std::vector<Finding>& findings = judgement.findings;
  const auto has_fix = [](const Finding& finding) { return !finding.details.fix.empty(); };
  if (text.size() > kLargestText) {
    for (Finding& finding : findings)
      finding.details.fix.clear();
    return;
  }
  Source source{"", text, {}};
  if (findings.empty() || parse_configuration(source.text, source.root)) return;
  add_fixes(source, findings);
  source.root = Json::Value();
  std::vector<Finding> fixed;
  std::copy_if(findings.begin(), findings.end(), std::back_inserter(fixed), has_fix);
  if (fixed.empty()) return;
  Settler(text, all_of(judgement)).settle(fixed.begin(), fixed.end());
  auto next = fixed.begin();
  for (Finding& finding : findings)
    if (has_fix(finding)) finding.details.fix = (next++)->details.fix;
}

// Whether no edit of the fix overlaps one of `edits`, which are by offset and do not overlap each other.
static bool is_free(const std::vector<Edit>& fix, const std::map<std::ptrdiff_t, Edit>& edits) {
  return std::none_of(fix.begin(), fix.end(), [&edits](const Edit& edit) {
    const auto next = edits.lower_bound(edit.range.begin);
    return (next != edits.end() && do_overlap(edit, next->second)) ||
           (next != edits.begin() && do_overlap(edit, std::prev(next)->second));
  });
}

std::vector<Edit> all_edits(std::vector<Finding>& findings) {
  std::map<std::ptrdiff_t, Edit> edits;
  for (Finding& finding : findings) {
    std::vector<Edit>& fix = finding.details.fix;
    if (!is_free(fix, edits)) fix.clear();
    for (const Edit& edit : fix)
      edits.emplace(edit.range.begin, edit);
  }
  std::vector<Edit> all;
  std::transform(edits.begin(), edits.end(), std::back_inserter(all),
                 [](const auto& entry) { return entry.second; });
  return all;
}

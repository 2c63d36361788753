#include "cli/lint/allow.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>

#include "cli/config_file/comments.h"
#include "cli/config_file/nearest.h"
#include "cli/lint/rules.h"
#include "cli/lint/site.h"

constexpr char kMark[] = "lanfab:";
// Rules whose findings make cmd_lanfab reject the whole configuration.
constexpr std::array<std::string_view, 2> kRefusals = {"syntax", "text-refused"};

static bool is_refusal(const std::string& rule) {
  return std::find(kRefusals.begin(), kRefusals.end(), rule) != kRefusals.end();
}

static bool is_known(const std::string& rule) {
  const auto& rules = all_rules();
  return std::any_of(rules.begin(), rules.end(), [&](const Rule& known) { return known.name == rule; });
}

static bool is_about_comments(const std::string& rule) {
  return rule == kAllowUnknown || rule == kAllowUnused;
}

std::optional<std::string> why_not_allowed(const std::string& rule) {
  if (is_refusal(rule))
    return quoted(rule) + " cannot be allowed: cmd_lanfab rejects the whole configuration";
  if (is_known(rule)) return std::nullopt;
  std::vector<std::string> names;
  for (const Rule& known : all_rules())
    names.emplace_back(known.name);
  const auto name = nearest(rule, names);
  return "unknown rule " + quoted(rule) + (name ? "; did you mean " + quoted(*name) + "?" : "");
}

namespace {

// A problem with a comment.
struct Fault {
  TextRange comment;
  std::string message;
};

// A comment that allows a rule within a scope.
struct Allowance {
  TextRange comment;
  TextRange scope;
  bool is_used = false;
};

// The "lanfab:" comments of a configuration.
class Allowances {
 public:
  explicit Allowances(const std::string& text) {
    for (const Comment& comment : marked_comments(text, kMark))
      read(comment, words_of(text, comment.content));
  }

  // Some findings of the rule are not listed, so an unused comment may be about one of those.
  void add_incomplete(const std::string& rule) {
    incomplete_.push_back(rule);
  }

  // Whether a comment allows the finding. If several do, only the innermost one is marked as used.
  bool use_for(const Finding& finding) {
    const auto found = by_rule_.find(finding.rule);
    if (found == by_rule_.end()) return false;
    Allowance* innermost = nullptr;
    for (Allowance& allowance : found->second) {
      const TextRange& scope = allowance.scope;
      if (finding.range.begin < scope.begin || finding.range.begin >= scope.end) continue;
      if (innermost == nullptr || innermost->scope.begin <= scope.begin) innermost = &allowance;
    }
    if (innermost == nullptr) return false;
    innermost->is_used = true;
    return true;
  }

  // The findings about the comments.
  std::vector<Finding> findings() const {
    std::vector<Finding> all;
    add_findings(kAllowUnknown, unknown_, all);
    add_findings(kAllowUnused, unused(), all);
    return all;
  }

 private:
  static std::vector<std::string> words_of(const std::string& text, TextRange range) {
    constexpr char kBetween[] = " \t\r\n,*";
    std::vector<std::string> words;
    const auto end = static_cast<std::size_t>(range.end);
    auto begin = static_cast<std::size_t>(range.begin);
    while ((begin = text.find_first_not_of(kBetween, begin)) < end) {
      const std::size_t behind = std::min(text.find_first_of(kBetween, begin), end);
      words.push_back(text.substr(begin, behind - begin));
      begin = behind;
    }
    return words;
  }

  void read(const Comment& comment, const std::vector<std::string>& words) {
    if (words.size() < 2 || words.front() != "allow") {
      add_unknown(comment, "expected \"lanfab: allow RULE\"");
      return;
    }
    for (auto rule = words.begin() + 1; rule != words.end(); ++rule) {
      if (is_known(*rule) && !is_refusal(*rule) && !is_about_comments(*rule)) {
        by_rule_[*rule].push_back({comment.range, comment.scope});
      } else {
        add_unknown(comment, obstacle_of(*rule));
      }
    }
  }

  // Why a comment cannot allow the rule.
  std::string obstacle_of(const std::string& rule) const {
    if (is_about_comments(rule)) return quoted(rule) + " cannot be allowed by a comment";
    // The search for the nearest name is slow, and findings beyond this number are not listed.
    return unknown_.size() < kMostListed ? why_not_allowed(rule).value_or("") : "";
  }

  void add_unknown(const Comment& comment, const std::string& message) {
    unknown_.push_back({comment.range, message});
  }

  // The problems of unused comments, in file order.
  std::vector<Fault> unused() const {
    std::vector<Fault> faults;
    for (const auto& [rule, allowances] : by_rule_) {
      // The check by dnsmasq does not always run.
      if (rule == kDnsmasqRefuses) continue;
      if (std::find(incomplete_.begin(), incomplete_.end(), rule) != incomplete_.end()) continue;
      for (const Allowance& allowance : allowances) {
        if (allowance.is_used) continue;
        const bool is_about_something = allowance.scope.begin < allowance.scope.end;
        faults.push_back({allowance.comment, is_about_something
                                                 ? rule + " finds nothing here: remove the comment"
                                                 : "no setting follows for which " + rule + " is allowed"});
      }
    }
    std::sort(faults.begin(), faults.end(), [](const Fault& a, const Fault& b) {
      return a.comment.begin != b.comment.begin ? a.comment.begin < b.comment.begin : a.message < b.message;
    });
    return faults;
  }

  static void add_findings(const char* rule, const std::vector<Fault>& faults, std::vector<Finding>& all) {
    Findings findings(
        rule, Severity::kWarning, [](std::ptrdiff_t) { return true; }, all);
    for (const Fault& fault : faults)
      findings.add(fault.comment, fault.message);
  }

  std::unordered_map<std::string, std::vector<Allowance>> by_rule_;
  std::vector<std::string> incomplete_;
  std::vector<Fault> unknown_;  // in file order
};

}  // namespace

// Unlisted findings may be outside the scope of any comment, so they count as allowed only if all listed
// findings of their rule are.
static void keep_unlisted(Judgement& judgement) {
  for (AllowedFinding& allowed : judgement.allowed) {
    if (allowed.finding.unlisted == 0) continue;
    const std::string& rule = allowed.finding.rule;
    const auto last = std::find_if(judgement.findings.rbegin(), judgement.findings.rend(),
                                   [&](const Finding& finding) { return finding.rule == rule; });
    if (last != judgement.findings.rend()) std::swap(allowed.finding.unlisted, last->unlisted);
  }
}

Judgement judgement_of(const std::string& text, std::vector<Finding> findings,
                       const std::vector<std::string>& rules) {
  Allowances allowances(text);
  Judgement judgement;
  const auto sort_out = [&](std::vector<Finding>& found) {
    for (Finding& finding : found) {
      if (finding.unlisted > 0) allowances.add_incomplete(finding.rule);
      const bool is_in_file = allowances.use_for(finding);
      if (is_in_file || std::find(rules.begin(), rules.end(), finding.rule) != rules.end()) {
        judgement.allowed.push_back({std::move(finding), is_in_file});
      } else {
        judgement.findings.push_back(std::move(finding));
      }
    }
  };
  sort_out(findings);
  keep_unlisted(judgement);
  std::vector<Finding> about_comments = allowances.findings();
  sort_out(about_comments);
  const auto by_offset = [](const Finding& a, const Finding& b) { return a.range.begin < b.range.begin; };
  std::stable_sort(judgement.findings.begin(), judgement.findings.end(), by_offset);
  return judgement;
}

#pragma once

// Findings: errors and warnings about a configuration.

#include <json/json.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "cli/config_file/text_range.h"

enum class Severity { kWarning, kError };

struct FindingDetails {
  std::vector<RelatedLocation> related;
  // The edits that together fix the finding; they do not overlap. settle_fixes (cli/lint/fixes.h) removes a
  // fix that is not certain.
  std::vector<Edit> fix;
};

// The details of a finding that is also about the value `other`.
inline FindingDetails related_to(const Json::Value& other, std::string message) {
  return {{{range_of(other), std::move(message)}}, {}};
}

struct Finding {
  std::string rule;
  Severity severity;
  TextRange range;
  std::string message;
  FindingDetails details;
  // The number of further findings of the rule that are not listed; not 0 for at most one of its findings.
  std::size_t unlisted = 0;
};

// The maximum number of findings that are listed for each rule.
inline constexpr std::size_t kMostListed = 1000;

// A set of offsets in a text of `size` bytes. All offsets may be in the set, so each one is a bit.
class LocationSet {
 public:
  explicit LocationSet(std::size_t size) : is_in_(size + 1) {}

  bool contains(std::ptrdiff_t offset) const {
    return is_in_[static_cast<std::size_t>(offset)];
  }

  void add(std::ptrdiff_t offset) {
    is_in_[static_cast<std::size_t>(offset)] = true;
  }

 private:
  std::vector<bool> is_in_;
};

// Collects the findings of one rule.
class Findings {
 public:
  // Whether a finding of the rule at the offset counts. Called once for each finding.
  using Filter = std::function<bool(std::ptrdiff_t offset)>;

  Findings(std::string rule, Severity severity, Filter counts, std::vector<Finding>& all)
      : rule_(std::move(rule)), severity_(severity), counts_(std::move(counts)), all_(all) {}

  // `where` must be a value of the configuration itself, not of a modified copy.
  void add(const Json::Value& where, std::string message, FindingDetails details = {}) {
    add(range_of(where), std::move(message), std::move(details));
  }

  void add(TextRange range, std::string message, FindingDetails details = {}) {
    if (!counts_(range.begin)) return;
    if (listed_ == kMostListed) {
      ++all_.back().unlisted;
    } else {
      ++listed_;
      all_.push_back({rule_, severity_, range, std::move(message), std::move(details)});
    }
  }

 private:
  std::string rule_;
  Severity severity_;
  Filter counts_;
  std::vector<Finding>& all_;
  std::size_t listed_ = 0;
};

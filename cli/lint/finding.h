#pragma once

// What is found in a configuration.

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
  // What to write instead: all edits together fix the finding. They do not overlap. settle_fixes
  // (cli/lint/fixes.h) decides whether that is certain.
  std::vector<Edit> fix;
};

// For a finding that is about another value, too.
inline FindingDetails related_to(const Json::Value& other, std::string message) {
  return {{{range_of(other), std::move(message)}}, {}};
}

struct Finding {
  std::string rule;
  Severity severity;
  TextRange range;
  std::string message;
  FindingDetails details;
  // How many more the rule has found that are not listed; not 0 only for the last one that is.
  std::size_t unlisted = 0;
};

// Of each rule so many findings are listed.
inline constexpr std::size_t kMostListed = 1000;

// A set of locations in a text, of which there may be as many as characters.
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

// Collects what one rule finds.
class Findings {
 public:
  // Whether what the rule finds at an offset counts. Called once for each finding.
  using Filter = std::function<bool(std::ptrdiff_t offset)>;

  Findings(std::string rule, Severity severity, Filter counts, std::vector<Finding>& all)
      : rule_(std::move(rule)), severity_(severity), counts_(std::move(counts)), all_(all) {}

  // `where` is a value of the configuration itself, not a copy that was changed.
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

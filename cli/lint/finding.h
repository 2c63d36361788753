#pragma once

// What is found in a configuration.

#include <json/json.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

enum class Severity { kWarning, kError };

struct Finding {
  std::string rule;
  Severity severity;
  std::ptrdiff_t offset;  // in the text of the configuration
  std::string message;
  // How many more the rule has found that are not listed; not 0 only for the last one that is.
  std::size_t unlisted = 0;
};

// Of each rule so many findings are listed.
inline constexpr std::size_t kMostListed = 1000;

// A set of places in a text, of which there may be as many as characters.
class Places {
 public:
  explicit Places(std::size_t size) : is_in_(size + 1) {}

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
  // What it finds at one of the places `judged` is left out; `own` gets the others.
  Findings(std::string rule, Severity severity, const Places& judged, Places& own, std::vector<Finding>& all)
      : rule_(std::move(rule)), severity_(severity), judged_(judged), own_(own), all_(all) {}

  // `where` is a value of the configuration itself, not a copy that was changed.
  void add(const Json::Value& where, std::string message) {
    add(where.getOffsetStart(), std::move(message));
  }

  void add(std::ptrdiff_t offset, std::string message) {
    if (judged_.contains(offset)) return;
    own_.add(offset);
    if (listed_ == kMostListed) {
      ++all_.back().unlisted;
    } else {
      ++listed_;
      all_.push_back({rule_, severity_, offset, std::move(message)});
    }
  }

 private:
  std::string rule_;
  Severity severity_;
  const Places& judged_;
  Places& own_;
  std::vector<Finding>& all_;
  std::size_t listed_ = 0;
};

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
};

// Collects what one rule finds.
class Findings {
 public:
  Findings(std::string rule, Severity severity, std::vector<Finding>& all)
      : rule_(std::move(rule)), severity_(severity), all_(all) {}

  // `where` is a value of the configuration itself, not a copy that was changed.
  void add(const Json::Value& where, std::string message) {
    add(where.getOffsetStart(), std::move(message));
  }

  void add(std::ptrdiff_t offset, std::string message) {
    all_.push_back({rule_, severity_, offset, std::move(message)});
  }

 private:
  std::string rule_;
  Severity severity_;
  std::vector<Finding>& all_;
};

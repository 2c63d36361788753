#pragma once

// Findings as SARIF 2.1.0, the format in which analysis tools exchange their results: one run over all files,
// with the rules and their entries of docs/checks.md.

#include <json/json.h>

#include <string>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

class SarifReport {
 public:
  SarifReport() : results_(Json::arrayValue), notifications_(Json::arrayValue) {}

  // What is allowed is reported as suppressed.
  void add(const Source& source, const Judgement& judgement);

  // Adds why a file could not be examined.
  void add_failure(const std::string& message);

  // The whole report.
  Json::Value log() const;

 private:
  Json::Value results_;
  Json::Value notifications_;
};

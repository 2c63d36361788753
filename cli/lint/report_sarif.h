#pragma once

// Findings as SARIF 2.1.0, the format in which analysis tools exchange their results: one run over all
// files, with the rules and their explanations in docs/checks.md.

#include <json/json.h>

#include <string>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

// The findings in a file as elements of the list of results, in JSON; empty if there are none. Allowed
// findings are reported as suppressed.
std::string sarif_results(const Source& source, const Judgement& judgement);

class SarifReport {
 public:
  SarifReport() : notifications_(Json::arrayValue) {}

  // Adds the results of a file, from sarif_results().
  void add(const std::string& results);

  // Adds an error message about a file that could not be examined.
  void add_failure(const std::string& message);

  // The whole report, without a newline at the end.
  std::string text() const;

 private:
  // In JSON, since a tree would take several times the memory.
  std::string results_;
  Json::Value notifications_;
};

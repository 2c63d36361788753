#pragma once

// Findings as SARIF 2.1.0, the format in which analysis tools exchange their results: one run over all files,
// with the rules and their entries of docs/checks.md.

#include <json/json.h>

#include <string>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"

// What is found in a file, as a part of the list of results in the text of the report; empty if nothing is.
// What is allowed is reported as suppressed.
std::string sarif_results(const Source& source, const Judgement& judgement);

class SarifReport {
 public:
  SarifReport() : notifications_(Json::arrayValue) {}

  // Adds the results of a file.
  void add(const std::string& results);

  // Adds why a file could not be examined.
  void add_failure(const std::string& message);

  // The whole report, without a line end behind it.
  std::string text() const;

 private:
  // As text, since a tree would take several times the memory.
  std::string results_;
  Json::Value notifications_;
};

#pragma once

// `lanfab check` for one file. Another process may make the report.

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/allow.h"
#include "cli/lint/finding.h"
#include "cli/lint/report.h"
#include "cli/lint/site.h"

enum class Format { kText, kJson, kSarif, kGithub };

struct CheckOptions {
  Format format = Format::kText;
  std::vector<std::string> allowed;  // rules whose findings are allowed
  bool fix = false;                  // correct the file where only one value can be right
  bool diff = false;                 // print the fixes as a patch instead of the findings
};

// Checks with `dnsmasq --test`, where dnsmasq is installed.
class Dnsmasq {
 public:
  // `program` is the path of dnsmasq; without one, judge() does nothing.
  explicit Dnsmasq(std::optional<std::string> program) : program_(std::move(program)) {}

  // Adds a finding for each error that dnsmasq reports, unless `findings` already has an error, which
  // dnsmasq would only repeat. After a failure to run dnsmasq, does nothing: it would fail for every file.
  void judge(const Site& site, std::vector<Finding>& findings);

  // Results of judge() since the last call of take_answer().
  struct Answer {
    std::string error;
    bool is_refusal = false;
  };
  Answer take_answer();

 private:
  std::optional<std::string> program_;
  Answer answer_;
};

// Checks a configuration with the rules and with dnsmasq. The findings of the rules in `allowed` are
// allowed.
Judgement judge(Source& source, Dnsmasq& dnsmasq, const std::vector<std::string>& allowed);

// Report on one file.
struct FileReport {
  std::string name;        // of the file, for messages and reports
  std::string output;      // in the chosen format: lines, or elements of the report's JSON list
  Summary summary;         // of this file
  std::size_t fixes = 0;   // number of fixes that were made
  std::string failure;     // why the file could not be read or written; empty otherwise
  bool is_parsed = false;  // also false if the file could not be read
  Dnsmasq::Answer dnsmasq;
};

// Checks a file, and fixes it if `options.fix` is set; "-" is standard input.
FileReport check_file(const CheckOptions& options, const std::string& file, Dnsmasq& dnsmasq);

// Converts the report to bytes, and back.
std::string encode(const FileReport& report);
FileReport decode(const std::string& bytes);

// The findings in a configuration as text for standard output.
std::string findings_for_output(const Source& source, const std::vector<Finding>& findings);

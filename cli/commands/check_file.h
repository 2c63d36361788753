#pragma once

// `lanfab check` for one file: its report, which another process may have made.

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
  std::vector<std::string> allowed;  // rules
  bool fix = false;                  // correct the file where only one value can be right
  bool diff = false;                 // print them as a patch instead of the findings
};

// Checks with `dnsmasq --test`, where dnsmasq is installed.
class Dnsmasq {
 public:
  // `program` is the path of dnsmasq; without one, judge() does nothing.
  explicit Dnsmasq(std::optional<std::string> program) : program_(std::move(program)) {}

  // Adds what dnsmasq rejects to the findings of the rules, unless these have an error: dnsmasq would reject
  // the same. Once dnsmasq could not be run it is not run again, since it would fail for every file.
  void judge(const Site& site, std::vector<Finding>& findings);

  // Why dnsmasq could not be run, and whether it has rejected something, since the last call.
  struct Answer {
    std::string error;
    bool is_refusal = false;
  };
  Answer take_answer();

 private:
  std::optional<std::string> program_;
  Answer answer_;
};

// Findings of the rules and of dnsmasq. Those of the rules `allowed` are allowed.
Judgement judge(Source& source, Dnsmasq& dnsmasq, const std::vector<std::string>& allowed);

// Report on one file.
struct FileReport {
  std::string name;        // as messages and reports call the file
  std::string output;      // for the format: lines, or JSON as elements of the list in the report
  Summary summary;         // of this file
  std::size_t fixes = 0;   // that were made
  std::string failure;     // why the file could not be read or written; empty otherwise
  bool is_parsed = false;  // false also if it could not be read
  Dnsmasq::Answer dnsmasq;
};

// Examines a file and fixes it if wanted; "-" is standard input.
FileReport check_file(const CheckOptions& options, const std::string& file, Dnsmasq& dnsmasq);

// Converts the report to bytes, and back.
std::string encode(const FileReport& report);
FileReport decode(const std::string& bytes);

// The findings in a configuration as text for standard output.
std::string findings_for_output(const Source& source, const std::vector<Finding>& findings);

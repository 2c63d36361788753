#pragma once

// One of the files of `lanfab check`: what is printed about it, whichever process examines it.

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
  bool fix = false;                  // write the fixes that are certain
  bool diff = false;                 // print them as a patch instead of the findings
};

// dnsmasq, where it can be asked.
class Dnsmasq {
 public:
  // `program` is its path; without one it is not asked.
  explicit Dnsmasq(std::optional<std::string> program) : program_(std::move(program)) {}

  // Adds what it refuses to what the rules have found. After an error it would only say the same once more.
  // When it cannot be asked it is not asked again, since it would be the same for every file.
  void judge(const Site& site, std::vector<Finding>& findings);

  // Why it could not be asked, and whether it has refused something, since the last call.
  struct Answer {
    std::string error;
    bool is_refusal = false;
  };
  Answer take_answer();

 private:
  std::optional<std::string> program_;
  Answer answer_;
};

// What the rules and dnsmasq find. What one of the rules `allowed` finds is allowed.
Judgement judge(Source& source, Dnsmasq& dnsmasq, const std::vector<std::string>& allowed);

// About one file.
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

// The report as bytes, and back.
std::string encode(const FileReport& report);
FileReport decode(const std::string& bytes);

// The findings in a configuration as text for standard output.
std::string findings_for_output(const Source& source, const std::vector<Finding>& findings);

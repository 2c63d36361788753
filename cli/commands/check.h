#pragma once

// `lanfab check`: what is wrong with configurations.

#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/report.h"

struct CheckOptions {
  std::vector<std::string> files;  // "-" is standard input
  bool json = false;
  bool strict = false;   // warnings count, too
  bool offline = false;  // do not ask dnsmasq
};

// Prints the findings. Returns the exit status: 0 without an error, 1 with one, 2 when a file cannot be read
// or parsed.
int check(const CheckOptions& options);

// Prints the findings in one configuration as text. Returns how many there are.
Summary show_findings(const Source& source);

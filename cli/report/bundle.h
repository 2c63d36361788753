#pragma once

// What `lanfab report` collects: what a person who looks for a fault from afar asks for. Nothing changes on
// the machine, every query of another program has a limit on its time and its output, and what cannot be
// had is named in its place.

#include <string>
#include <vector>

struct ReportItem {
  std::string name;     // its path in the bundle, which begins with a slash
  std::string content;  // without secrets
  std::string error;    // why it is missing, or not whole; otherwise empty
};

std::vector<ReportItem> collect_report();

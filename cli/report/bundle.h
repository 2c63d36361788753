#pragma once

// Collects the content of `lanfab report`, for remote troubleshooting. Changes nothing on the machine.
// Queries of other programs have limits on their time and output. An item that cannot be collected has an
// error instead.

#include <string>
#include <vector>

struct ReportItem {
  std::string name;     // its path in the bundle, which begins with a slash
  std::string content;  // without secrets
  std::string error;    // why it is missing or incomplete; otherwise empty
};

std::vector<ReportItem> collect_report();

#pragma once

// One line for a monitoring system that runs plugins in the manner of Nagios.

#include <string>

#include "cli/status/findings.h"

// Exit statuses of a plugin.
inline constexpr int kNagiosOk = 0;        // no drift
inline constexpr int kNagiosWarning = 1;   // drift, but all of it is pending
inline constexpr int kNagiosCritical = 2;  // drift
inline constexpr int kNagiosUnknown = 3;   // an error, or no drift, but something could not be checked

struct NagiosReport {
  std::string line;  // with its line end
  int status = kNagiosUnknown;
};

// "LANFAB CRITICAL - eth0: it is down; 1 more | drift=2 pending=0 allowed=0"
NagiosReport nagios_report_of(const StatusFindings& findings);

// Of a gateway that could not be examined: why.
NagiosReport nagios_report_of(const std::string& error);

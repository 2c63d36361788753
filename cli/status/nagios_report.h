#pragma once

// Output of a Nagios plugin: one line.

#include <string>

#include "cli/status/findings.h"

// Exit statuses of a plugin.
inline constexpr int kNagiosOk = 0;        // no drift
inline constexpr int kNagiosWarning = 1;   // drift, but all of it is pending
inline constexpr int kNagiosCritical = 2;  // drift
inline constexpr int kNagiosUnknown = 3;   // an error, or no drift, but something could not be checked

struct NagiosReport {
  std::string line;  // including the newline
  int status = kNagiosUnknown;
};

// "LANFAB CRITICAL - eth0: it is down; 1 more | drift=2 pending=0 allowed=0"
NagiosReport nagios_report_of(const StatusFindings& findings);

// Report about a gateway that could not be examined, with the reason.
NagiosReport nagios_report_of(const std::string& error);

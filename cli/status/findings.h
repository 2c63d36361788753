#pragma once

// Findings of `lanfab status` on a gateway: the drift found by all checks, the drift that the operator has
// allowed, and the checks that could not be made.

#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

struct StatusFindings {
  std::vector<Drift> drift;
  std::vector<Drift> allowed;            // by a line of kAllowFile
  std::vector<std::string> not_checked;  // each check with its reason: "the trial: Permission denied"
};

// Exit statuses of `lanfab status`; after an error, it is kFailure.
inline constexpr int kNoDrift = 0;
inline constexpr int kDrift = 1;
inline constexpr int kPendingOnly = 3;

// Runs every check: the trial, the configuration against the files, and the files against the services and
// the kernel. With `probe`, also sends packets, which requires root.
StatusFindings find_all_drift(const Snapshot& snapshot, bool probe = false);

// One of the exit statuses above.
int exit_status_of(const StatusFindings& findings);

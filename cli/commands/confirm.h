#pragma once

// `lanfab confirm`: makes the configuration on trial the installed one.

#include <string>

struct ConfirmOptions {
  std::string trial;         // the ID of the trial; empty, any
  bool force = false;        // replace an installed file that somebody has changed during the trial
  std::string comment = {};  // for the history
};

// Returns the exit status: 0 when the configuration is installed, 1 when there is no trial to confirm, or the
// installed file has changed, 2 on failure, or when it may not be synced to disk.
int confirm(const ConfirmOptions& options);

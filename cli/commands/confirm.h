#pragma once

// `lanfab confirm`: makes the configuration on trial the installed one.

#include <string>

struct ConfirmOptions {
  std::string trial;         // ID of the trial; if empty, any trial
  bool force = false;        // replace the installed file even if it was changed during the trial
  std::string comment = {};  // for the history
};

// Confirms the trial. Returns the exit status: 0 when the configuration is installed; 1 when there is no
// trial that can be confirmed, or the installed file has changed; 2 on failure, also when the configuration
// is installed but may not be synced to disk.
int confirm(const ConfirmOptions& options);

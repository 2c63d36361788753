#pragma once

// `lanfab preview`: what a run of cmd_lanfab would write and call.

#include <string>

#include "cli/dry_run/dry_run.h"

struct PreviewOptions {
  std::string file;  // "-" is standard input
  DryRunOptions dry_run;
  std::string directory;  // the files go below it instead of to standard output; empty, they do not
  bool json = false;
  bool messages = false;  // show what goes to the system log, too
};

// Prints the result. Returns the exit status: 0 when the run succeeded, 1 when it failed, 2 when there is no
// result.
int preview(const PreviewOptions& options);

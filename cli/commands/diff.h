#pragma once

// `lanfab diff`: what a configuration would change.

#include <optional>
#include <string>

#include "cli/dry_run/dry_run.h"

struct DiffOptions {
  std::string file;   // "-" is standard input
  std::string other;  // the new one, `file` being the old; empty, `file` is compared with what is in force
  DryRunOptions dry_run;
};

// Prints the changes in words, the differences of the files and those of the commands. Returns the exit
// status: 0 when there is no difference, 1 when there is one, 2 when a run fails or there is no result.
int diff(const DiffOptions& options);

// Prints in words what a configuration would change of what is in force. Returns nothing, or why that is not
// known.
std::optional<std::string> show_changes(const Source& source);

#pragma once

// A dry run of cmd_lanfab, as `lanfab preview` shows it and `lanfab diff` compares it.

#include <optional>
#include <string>

#include "cli/config_file/source.h"
#include "cli/dry_run/initial_state.h"
#include "cli/dry_run/limits.h"
#include "cli/dry_run/result.h"

struct DryRunOptions {
  std::string program;           // cmd_lanfab; empty, it is looked for
  std::string action = "apply";  // as cmd_lanfab takes it
  std::string cell;              // as make_initial_state takes it
  int seconds = kRunSeconds;     // the time limit
};

struct DryRun {
  Source source;  // its name and text
  InitialState initial_state;
  DryRunResult result;  // in its texts, the configuration has the name of the source
};

// The cmd_lanfab that belongs to this program: beside it or, in a build tree, one directory above it; then
// along PATH.
std::optional<std::string> find_program();

// Runs a configuration that has been read in a sandbox. Returns nothing, or why there is no result.
std::optional<std::string> make_dry_run(Source source, const DryRunOptions& options, DryRun& dry_run);

// Standard error of a dry run without the shell's complaints that it cannot write below /proc/sys, which the
// sandbox does not have.
std::string without_proc_errors(const std::string& standard_error);

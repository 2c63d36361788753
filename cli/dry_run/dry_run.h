#pragma once

// A dry run of cmd_lanfab, as `lanfab preview` shows it and `lanfab diff` compares it.

#include <optional>
#include <string>

#include "cli/config_file/source.h"
#include "cli/dry_run/initial_state.h"
#include "cli/dry_run/limits.h"
#include "cli/dry_run/result.h"

struct DryRunOptions {
  std::string program;           // the path of cmd_lanfab; if empty, find_program() is used
  std::string action = "apply";  // an action of cmd_lanfab
  std::string cell;              // the cellular link, as for make_initial_state()
  int seconds = kRunSeconds;     // the time limit
};

struct DryRun {
  Source source;  // its name and text
  InitialState initial_state;
  DryRunResult result;  // its log and standard error name the configuration like the source
};

// The path of cmd_lanfab: beside this program, one directory above it (as in a build tree), or in PATH.
// nullopt if it is not found.
std::optional<std::string> find_program();

// Runs cmd_lanfab in a sandbox with a configuration that has been read. Returns nullopt, or an error
// message if there is no result.
std::optional<std::string> make_dry_run(Source source, const DryRunOptions& options, DryRun& dry_run);

// The standard error of a dry run, without the shell's error messages about files below /proc/sys, which a
// run cannot write in the sandbox.
std::string without_proc_errors(const std::string& standard_error);

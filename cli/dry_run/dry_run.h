#pragma once

// A run of cmd_lanfab on trial, as `lanfab preview` shows it and `lanfab diff` compares it.

#include <optional>
#include <string>

#include "cli/config_file/source.h"
#include "cli/dry_run/initial_state.h"
#include "cli/dry_run/result.h"

struct TrialOptions {
  std::string program;           // cmd_lanfab; empty, it is looked for
  std::string action = "apply";  // as cmd_lanfab takes it
  std::string cell;              // as make_start takes it
};

struct Trial {
  Source source;  // its name and text
  Start start;
  Outcome outcome;  // in its texts, the configuration has the name of the source
};

// The cmd_lanfab that belongs to this program: beside it or, in a build tree, one directory above it; then
// along PATH.
std::optional<std::string> find_program();

// Runs the configuration in a world of its own. Returns nothing, or why there is no outcome.
std::optional<std::string> try_out(const std::string& file, const TrialOptions& options, Trial& trial);

// The same for a configuration that has been read.
std::optional<std::string> try_out(Source source, const TrialOptions& options, Trial& trial);

#pragma once

// A world of its own for one run of cmd_lanfab: user, mount, network, PID and UTS namespaces, in which the
// run sees the state of a gateway, writes to memory, and calls recorders instead of tools. Nothing outside is
// written. The world ends with the process that made it, whatever ends that. It has no network: the name of a
// relay's server is found in /etc/hosts or not at all.

#include <optional>
#include <string>

#include "cli/dry_run/initial_state.h"
#include "cli/dry_run/result.h"

struct Run {
  std::string program;  // the absolute path of cmd_lanfab
  std::string action;
  std::string configuration;  // its text
  Start start;
};

// The configuration's path in a world, as complaints about it name it.
extern const char kConfigurationInWorld[];

// Returns nothing and fills `outcome`, or returns why the run could not be made.
std::optional<std::string> run_in_world(const Run& run, Outcome& outcome);

#pragma once

// A sandbox for one run of cmd_lanfab, or of any program: the run sees the state of a gateway, writes to
// memory, and calls stubs instead of tools. It is a boundary, for root, too:
//
// - Its user, mount, network, PID, IPC and UTS namespaces are its own. It sees no process, socket or
//   interface of the machine, and of the machine's files only those of root.h. It has no network: the name of
//   a relay's server is found in /etc/hosts or not at all.
// - Its user is one that nobody has, where root makes it; an ordinary user has none but itself.
// - It has a session of its own without a terminal, no file but its own three streams, and the rights that
//   confine() leaves it.
// - It is killed when its creator dies, and when the run reaches the limits of limits.h.

#include <optional>
#include <string>

#include "cli/dry_run/initial_state.h"
#include "cli/dry_run/limits.h"
#include "cli/dry_run/result.h"

struct SandboxRun {
  std::string program;  // the absolute path of cmd_lanfab
  std::string action;
  std::string configuration;  // its text
  InitialState initial_state;
  int seconds = kRunSeconds;  // the time limit
};

// The configuration's path in the sandbox, which error messages name.
extern const char kSandboxConfigurationFile[];

// Returns nothing and fills `result`, or returns why the run could not be made.
std::optional<std::string> run_in_sandbox(const SandboxRun& run, DryRunResult& result);

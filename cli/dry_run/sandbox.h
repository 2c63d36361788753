#pragma once

// A sandbox for one run of cmd_lanfab: user, mount, network, PID and UTS namespaces, in which the
// run sees the state of a gateway, writes to memory, and calls stubs instead of tools. Nothing outside is
// written. The sandbox is killed when its creator dies. It has no network: the name of a relay's server is
// found in /etc/hosts or not at all.

#include <optional>
#include <string>

#include "cli/dry_run/initial_state.h"
#include "cli/dry_run/result.h"

struct SandboxRun {
  std::string program;  // the absolute path of cmd_lanfab
  std::string action;
  std::string configuration;  // its text
  InitialState initial_state;
};

// The configuration's path in the sandbox, which error messages name.
extern const char kSandboxConfigurationFile[];

// Returns nothing and fills `result`, or returns why the run could not be made.
std::optional<std::string> run_in_sandbox(const SandboxRun& run, DryRunResult& result);

#pragma once

// A sandbox for one run of cmd_lanfab or of any other program. The run sees the state of a gateway, writes to
// memory, and calls stubs instead of tools. The sandbox is a security boundary, for root as well:
//
// - It has its own user, mount, network, PID, IPC and UTS namespaces. It cannot see processes, sockets and
//   interfaces of the machine, and only those of the machine's files that root.h lists. It has no network:
//   the host name of a relay server is only looked up in /etc/hosts.
// - If root creates it, it runs as an unused user, if there is one; otherwise as the user who creates it.
// - It has its own session without a terminal, no open files except its three standard streams, and only the
//   privileges that confine() leaves it.
// - It is killed when its creator dies, and when the run reaches the limits in limits.h.

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

// The configuration's path in the sandbox, which appears in error messages.
extern const char kSandboxConfigurationFile[];

// Makes the run. Fills `result` and returns nullopt, or returns an error message.
std::optional<std::string> run_in_sandbox(const SandboxRun& run, DryRunResult& result);

#pragma once

// The file system of the sandbox: a tmpfs in which everything is a link to the machine's own, except what a
// run writes and the tools that it calls.
//
//   /.sandbox/real              the machine's root, read-only
//   /.sandbox/commands          what the stubs record
//   /.sandbox/services          the active services, one a line
//   /.sandbox/config            for the configuration
//   /run, /tmp, /var/volatile, /var/data, /dev, /proc
//                               fresh; /var/run leads to /run, and /dev/log is free
//   ip, systemctl and so on     stubs, in each of /bin, /sbin, /usr/bin and /usr/sbin
//   anything else               a link to the machine's own

#include <string>

#include "cli/dry_run/result.h"

inline constexpr char kMachineRoot[] = "/.sandbox/real";
inline constexpr char kSandboxConfigurationDirectory[] = "/.sandbox/config";

// Makes it the root of this process, the first one of its mount and PID namespaces. `stub` is the program
// that takes the place of the tools, as the machine knows it.
void enter_root(const std::string& stub, const ResultPipe& pipe);

#pragma once

// The file system of a world: a tmpfs in which everything is a link to the machine's own, except what a run
// writes and the tools that it calls.
//
//   /.world/real                the machine's root, read-only
//   /.world/commands            what the recorders record
//   /.world/services            the active services, one a line
//   /.world/config              for the configuration
//   /run, /tmp, /var/volatile, /var/data, /dev, /proc
//                               fresh; /var/run leads to /run, and /dev/log is free
//   ip, systemctl and so on     recorders, in each of /bin, /sbin, /usr/bin and /usr/sbin
//   anything else               a link to the machine's own

#include <string>

#include "cli/dry_run/result_pipe.h"

inline constexpr char kMachineRoot[] = "/.world/real";
inline constexpr char kWorldConfiguration[] = "/.world/config";

// Makes it the root of this process, the first one of its mount and PID namespaces. `recorder` is the program
// that takes the place of the tools, as the machine knows it.
void enter_root(const std::string& recorder, const Report& report);

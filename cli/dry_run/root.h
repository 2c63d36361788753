#pragma once

// The file system of the sandbox: a tmpfs with read-only mounts of the machine's files that a run needs, and
// links to them.
//
//   /.sandbox/real              the machine's programs and libraries, a few files of its /etc, and the
//                               program to run
//   /.sandbox/stub              the program that replaces the tools; stub_files.h describes its files
//   /.sandbox/config            the directory of the configuration
//   /run, /tmp, /var/volatile, /var/data, /dev, /proc
//                               new; /var/run is a link to /run, and /dev/log does not exist yet
//   ip, systemctl and so on     links to the stub, in each of /bin, /sbin, /usr/bin and /usr/sbin
//   anything else               links to /.sandbox/real; the rest of the machine is not visible

#include <string>

#include "cli/dry_run/identity.h"
#include "cli/dry_run/result.h"

inline constexpr char kMachineRoot[] = "/.sandbox/real";
inline constexpr char kSandboxConfigurationDirectory[] = "/.sandbox/config";

// Makes a new file system the root of this process, which must be the first one in its mount and
// PID namespaces. The file system contains the mounts of the machine's files, including `program`,
// and belongs to `owner`.
void enter_root(const std::string& program, const Identity& owner, const ResultPipe& pipe);

// Adds the directories and links, which do not need mounts. prepare_stubs() creates the stub itself later.
void fill_root(const ResultPipe& pipe);

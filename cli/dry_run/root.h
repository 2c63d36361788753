#pragma once

// The file system of the sandbox: a tmpfs with what a run needs of the machine, read-only, and links to it.
//
//   /.sandbox/real              of the machine: its programs and libraries, a few files of /etc, and the
//                               program that is run
//   /.sandbox/stub              the program that replaces the tools, and its files: stub_files.h
//   /.sandbox/config            for the configuration
//   /run, /tmp, /var/volatile, /var/data, /dev, /proc
//                               fresh; /var/run leads to /run, and /dev/log is free
//   ip, systemctl and so on     stubs, in each of /bin, /sbin, /usr/bin and /usr/sbin
//   anything else               a link to /.sandbox/real; the rest of the machine is not there

#include <string>

#include "cli/dry_run/identity.h"
#include "cli/dry_run/result.h"

inline constexpr char kMachineRoot[] = "/.sandbox/real";
inline constexpr char kSandboxConfigurationDirectory[] = "/.sandbox/config";

// Makes a file system with what the sandbox has of the machine, and with this program, the root of this
// process, the first one of its mount and PID namespaces. It belongs to `owner`.
void enter_root(const std::string& program, const Identity& owner, const ResultPipe& pipe);

// Adds what no mount is needed for. The stub itself comes later, by prepare_stubs.
void fill_root(const ResultPipe& pipe);

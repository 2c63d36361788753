#pragma once

// The user and group that own the sandbox.

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "cli/dry_run/result.h"

struct Identity {
  uid_t user;
  gid_t group;
};

// The largest of the IDs that no system gives to anyone which is not taken and which the namespace has: `map`
// is the text of its /proc/self/uid_map or gid_map.
std::optional<unsigned> unused_id(const std::string& map, const std::function<bool(unsigned id)>& is_taken);

// A user and a group that nobody has; nothing if this process is not root or its namespace lacks such IDs.
std::optional<Identity> unused_identity();

// Makes the IDs outside root inside this process's new user namespace. `proc` is a directory: a file system
// proc that can be written.
void become_root(const Identity& outside, int proc, const ResultPipe& pipe);

// Changes to the IDs for good, but keeps the capabilities.
void change_to(const Identity& identity, const ResultPipe& pipe);

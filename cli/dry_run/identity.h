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

// The largest ID that no system assigns, that is not taken, and that is mapped in the user namespace;
// nullopt if there is none. `map` is the content of /proc/self/uid_map or gid_map.
std::optional<unsigned> unused_id(const std::string& map, const std::function<bool(unsigned id)>& is_taken);

// An unused user and an unused group; nullopt if this process is not root, or if its user namespace
// does not have such IDs.
std::optional<Identity> unused_identity();

// Maps the IDs `outside` to root in the new user namespace of this process. `proc` is a descriptor of the
// root directory of a writable proc file system.
void become_root(const Identity& outside, int proc, const ResultPipe& pipe);

// Changes to the IDs permanently, without other groups, but keeps the capabilities.
void change_to(const Identity& identity, const ResultPipe& pipe);

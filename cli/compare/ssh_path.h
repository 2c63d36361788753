#pragma once

// Describes what a change does to the SSH connection of the user who runs this program.

#include <optional>
#include <set>
#include <string>

#include "cli/compare/facts.h"

// A sentence about the effect of the change on a connection. `connection` is the value of SSH_CONNECTION:
// client address and port, server address and port. `replaced` are the links that are deleted and set up
// again. Returns nullopt if `connection` does not consist of these four fields.
std::optional<std::string> describe_ssh_path(const std::string& connection, const Facts& before,
                                             const Facts& after, const std::set<std::string>& replaced);

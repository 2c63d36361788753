#pragma once

// The caller's own connection, when it is by SSH.

#include <optional>
#include <set>
#include <string>

#include "cli/compare/facts.h"

// What becomes of the connection that SSH_CONNECTION describes: its clients' and its server's address, each
// with its port behind it. `replaced` are the links that are deleted and set up again. Nothing if the
// string is empty or does not describe one.
std::optional<std::string> describe_ssh_path(const std::string& connection, const Facts& before,
                                             const Facts& after, const std::set<std::string>& replaced);

#pragma once

// GRE tunnels that keep their settings but change their names: a tunnel is named after its position in the
// list, so inserting or removing a tunnel renames those behind it.

#include <map>
#include <string>

#include "cli/compare/facts.h"
#include "cli/compare/sentences.h"

// Maps the name of each tunnel in `after` that also exists in `before` to its name in `before`.
std::map<std::string, std::string> match_tunnels(const Facts& before, const Facts& after);

// Describes the tunnels that change their names, and the consequences for firewall rules and scripts that
// use the names. `former_names` is the result of match_tunnels().
void describe_moved_tunnels(const Facts& before, const Facts& after,
                            const std::map<std::string, std::string>& former_names, Sentences& sentences);

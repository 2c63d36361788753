#pragma once

// GRE tunnels that keep their settings and change their names: a name is the position in the list, so those
// behind an inserted or a removed one move.

#include <map>
#include <string>

#include "cli/compare/facts.h"
#include "cli/compare/sentences.h"

// For each tunnel of `after` that `before` has, too, its name there.
std::map<std::string, std::string> match_tunnels(const Facts& before, const Facts& after);

// Describes the moved ones and what that means.
void describe_moved_tunnels(const Facts& before, const Facts& after,
                            const std::map<std::string, std::string>& former_names, Sentences& sentences);

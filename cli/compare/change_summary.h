#pragma once

// A difference in words.

#include <string>
#include <vector>

#include "cli/compare/facts.h"

// One line a change. `commands` are those of the run that leads to `after`: they tell which tunnels it
// removes.
std::vector<std::string> words_for(const Facts& before, const Facts& after,
                                   const std::vector<std::vector<std::string>>& commands);

#pragma once

// The facts in commands, and in the scripts that a run leaves.

#include <set>
#include <string>

#include "cli/compare/facts.h"

// Reads one command of the run, or a line of the script with this path.
void read_command(const std::string& path, const std::string& line, std::set<Topic>& topics, Facts& facts);

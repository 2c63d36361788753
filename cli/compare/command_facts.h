#pragma once

// Reads facts from the commands of a run and from the scripts that a run leaves behind.

#include <set>
#include <string>

#include "cli/compare/facts.h"

// Reads one command of a run (`path` is kCommands) or one line of the script `path` into `facts`, and adds
// the topics that explain the line to `topics`.
void read_command(const std::string& path, const std::string& line, std::set<Topic>& topics, Facts& facts);

#pragma once

// The system database of the sandbox.

#include <map>
#include <string>

#include "cli/dry_run/limits.h"

// All entries: KEY, or DATABASE/KEY, and value. None while there is no database. `meter` counts them.
std::map<std::string, std::string> read_database(Meter& meter);

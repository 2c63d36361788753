#pragma once

// The system database of the sandbox.

#include <map>
#include <string>

#include "cli/dry_run/limits.h"

// All entries: values by KEY or DATABASE/KEY. Empty if there is no database. `meter` counts their bytes.
std::map<std::string, std::string> read_database(Meter& meter);

#pragma once

// `lanfab diff`: shows what a configuration would change.

#include <optional>
#include <string>

#include "cli/config_file/source.h"

// Prints the summary of what a configuration would change in the active one. Returns nothing, or why that
// cannot be determined.
std::optional<std::string> show_changes(const Source& source);

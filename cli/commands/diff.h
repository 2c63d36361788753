#pragma once

// `lanfab diff`: what a configuration would change.

#include <optional>
#include <string>

#include "cli/config_file/source.h"

// Prints in words what a configuration would change of what is in force. Returns nothing, or why that is not
// known.
std::optional<std::string> show_changes(const Source& source);

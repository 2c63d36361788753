#pragma once

// `lanfab diff`: shows what a configuration would change.

#include <optional>
#include <string>

#include "cli/config_file/source.h"

// Prints a summary of the changes that applying this configuration would make. Returns nothing on success;
// otherwise an error message.
std::optional<std::string> show_changes(const Source& source);

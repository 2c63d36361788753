#pragma once

// `lanfab try`: applies a configuration, and rolls back unless it is confirmed in time.

#include <string>

#include "cli/config_file/source.h"

// Tries a configuration as `lanfab try` does without options. Returns its exit status.
int try_configuration(const Source& source);

// Puts the configuration in a file in force for good: as a trial that is confirmed once its APPLY has
// succeeded, so that the old one comes back if that fails. Returns the exit status: 0 when it is installed, 1
// when `lanfab check` finds an error, there is nothing to go back to, or it was rolled back, 2 when it cannot
// be done.
int put_in_force(const std::string& file);

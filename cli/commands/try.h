#pragma once

// `lanfab try`: applies a configuration, and rolls back unless it is confirmed in time.

#include <string>

#include "cli/config_file/source.h"

// Tries a configuration as `lanfab try` does without options. Returns its exit status.
int try_configuration(const Source& source);

// Applies the configuration in a file permanently: as a trial that is confirmed once its APPLY has succeeded,
// so that a failure rolls it back. Returns the exit status: 0 when it is installed, 1 when `lanfab check`
// finds an error, there is nothing to roll back to, or it was rolled back, 2 on any other failure.
int apply_permanently(const std::string& file);

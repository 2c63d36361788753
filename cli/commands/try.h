#pragma once

// `lanfab try`: applies a configuration, and rolls back unless it is confirmed in time.

#include <string>

#include "cli/config_file/source.h"

// Runs a trial of a configuration, as `lanfab try` does without options. Returns the exit status.
int try_configuration(const Source& source);

// Applies the configuration in a file permanently: as a trial that is confirmed once it has been applied
// and verified, and rolled back on failure. Returns the exit status: 0 when the configuration is installed;
// 1 when `lanfab check` finds an error, there is nothing to roll back to, or the trial was rolled back; 2
// on any other failure.
int apply_permanently(const std::string& file);

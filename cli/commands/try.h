#pragma once

// `lanfab try`: applies a configuration, and rolls back unless it is confirmed in time.

#include "cli/config_file/source.h"

// Tries a configuration as `lanfab try` does without options. Returns its exit status.
int try_configuration(const Source& source);

#pragma once

// Creates the context of a run from the device's configuration.

#include <memory>

#include "config/network_context.h"

// Loads the configuration object "network". With `for_apply`, then empties the unit directory, except for the
// units of an enabled cellular link. If the configuration cannot be loaded, logs that, leaves the directory
// unchanged and returns a context that is not initialized: check is_initialized() before any use.
std::unique_ptr<NetworkContext> load_network_context(bool for_apply);

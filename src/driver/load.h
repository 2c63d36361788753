#pragma once

// The one context of a run, from the device's configuration.

#include <memory>

#include "config/network_context.h"

// Loads the configuration object "network". With `for_apply` it then empties the unit directory, where the
// units of an enabled cellular link stay. If the configuration cannot be loaded, logs that, leaves the
// directory alone and returns a context that is not initialized: check is_initialized() before any use.
std::unique_ptr<NetworkContext> load_network_context(bool for_apply);

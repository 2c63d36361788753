#pragma once

// Ethernet ports in the sandbox's network.

#include "cli/dry_run/initial_state.h"

// Creates an interface with the name and the MAC address of the port. Returns false, with errno set, if the
// kernel cannot create a suitable kind of interface.
bool make_port(const SandboxPort& port);

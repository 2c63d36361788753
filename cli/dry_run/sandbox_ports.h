#pragma once

// Ethernet ports in the sandbox's network.

#include "cli/dry_run/initial_state.h"

// Makes an interface with the name and the MAC address of the port. False, with errno set, when the
// kernel has no kind of interface that can be one.
bool make_port(const SandboxPort& port);

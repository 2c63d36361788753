#pragma once

// Ethernet ports in a world's network.

#include "cli/dry_run/initial_state.h"

// Makes an interface with the name and the hardware address of the port. False, with errno set, when the
// kernel has no kind of interface that can be one.
bool make_port(const Port& port);

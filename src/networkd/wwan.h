#pragma once

// The cellular interface: with its own address and the default route, or handing its address on to the one
// device behind an Ethernet port.

#include "config/network_context.h"

// Writes the cellular unit and, in pass-through mode, the port's unit in place of the bare one. Returns 0, or
// -1 when the link manager's values are not available or the cellular unit cannot be written; in router mode,
// the result of the GRE tunnels, which may use the cellular address.
int init_wwan_interface(const NetworkContext* ctx);

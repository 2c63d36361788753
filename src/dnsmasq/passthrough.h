#pragma once

// The DHCP section of the pass-through port, which serves the one device behind it: with the cellular address
// while the link has one, otherwise with the device's address of the port's link-local pair, so that the
// device can always reach the gateway.

#include <cstdio>

#include "config/network_context.h"

// Writes the section of the pass-through port, "eth0" or "eth1". Returns false, nothing written, when the
// port is to be served as an ordinary LAN port instead.
bool dnsmasq_add_passthrough(const NetworkContext* ctx, std::FILE* file, const char* port);

#pragma once

#include <cstdio>

#include "config/network_context.h"

// Writes the sections of the port "eth0" or "eth1": those of a LAN port, with `hostname` (or null) published
// for its address, or the one of the pass-through port. Always 0.
int dnsmasq_add_eth_interface(const NetworkContext* ctx, std::FILE* file, const char* port,
                              const char* hostname);

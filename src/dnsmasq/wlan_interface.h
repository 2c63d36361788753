#pragma once

#include <cstdio>

#include "config/network_context.h"

// Writes the sections of the radio "wlan0" or "wlan1" when it is an access point, and publishes `hostname`
// (or null) for its address. Always 0.
int dnsmasq_add_wlan_interface(const NetworkContext* ctx, std::FILE* file, const char* ifname,
                               const char* hostname);

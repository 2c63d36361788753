#pragma once

// A second way of cleaning up, which needs no script of a previous run: delete the links that
// systemd-networkd leaves unmanaged. For callers of the library: no action calls this.

#include <string>

#include "config/network_context.h"

// Deletes every unmanaged link, with its routes, but the ones that are the device's own.
void clear_unmanaged_interfaces(const NetworkContext* ctx);

// Deletes every route whose line in the routing table contains `ifname`.
void delete_routes(const NetworkContext* ctx, const std::string& ifname);

// Deletes the link; `kind`, when not empty, is its link type. A WireGuard link wg0 to wg7 takes the rule of
// its routing table with it.
void delete_interface(const NetworkContext* ctx, const char* ifname, const char* kind);

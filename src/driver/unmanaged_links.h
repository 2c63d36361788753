#pragma once

// Another cleanup, without a script of the previous run: deletes the links that systemd-networkd does not
// manage. For callers of the library: no action calls this.

#include <string>

#include "config/network_context.h"

// Deletes every unmanaged link, with its routes, except the device's own links.
void clear_unmanaged_interfaces(const NetworkContext* ctx);

// Deletes every route whose line in the routing table contains `ifname`.
void delete_routes(const NetworkContext* ctx, const std::string& ifname);

// Deletes the link; `kind`, if not empty, is its link type. For a WireGuard link wg0 to wg7, also deletes the
// rule of its routing table.
void delete_interface(const NetworkContext* ctx, const char* ifname, const char* kind);

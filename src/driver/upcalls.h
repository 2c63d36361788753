#pragma once

// The driver's operations that the layers below call. Everything else goes one way, from the driver down;
// these three go back up, because what a run leaves for the time after it is the driver's business.

#include "config/network_context.h"

// Records an interface that this run sets up, so that the next APPLY deletes it. `kind` is the link type
// ("vlan", "gre") or null to delete by name alone.
void append_clear_interfaces(const NetworkContext* ctx, const char* ifname, const char* kind);

// Empties the unit directory and makes sure that it exists; keeps the cellular units when asked to. Always 0.
int init_runtime_network_dir(const NetworkContext* ctx, bool keep_wwan_units);

// Replaces the script that the device runs after systemd-networkd has started by this one shell command.
void write_post_networkd_start_actions_script(const NetworkContext* ctx, const char* command);

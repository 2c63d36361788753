#pragma once

// Undoes the previous run. Links and routes stay in the kernel after their unit files are removed, so each
// APPLY writes two scripts with which the next one removes them: "ip link delete" lines, recorded one by one
// by the generators, and "ip route del" lines for the static routes.

#include <json/json.h>

#include "config/network_context.h"

// Records an interface that this run creates, so that the next APPLY deletes it. `kind` is the link type
// ("vlan", "gre") or null to delete by name alone.
void append_clear_interfaces(const NetworkContext* ctx, const char* ifname, const char* kind);

// Writes the script that removes this run's static routes. `routes` is the array "static_routes" of the
// configuration; incomplete and disabled routes are ignored.
void write_clear_static_routes(const NetworkContext* ctx, const Json::Value& routes);

// Run and delete the script of the previous run, if it exists.
void clear_network_interfaces(const NetworkContext* ctx);
void clear_static_routes(const NetworkContext* ctx);

// Empties the unit directory, or creates it; preserves the cellular units on request. Always returns 0.
int init_runtime_network_dir(const NetworkContext* ctx, bool keep_wwan_units);

// Removes the files in `dir`; with `keep_wwan_units`, all except those whose names contain "wwan.".
void remove_dir_content(const NetworkContext* ctx, const char* dir, bool keep_wwan_units);

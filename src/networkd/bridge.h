#pragma once

// The LAN bridge: its device, its own network unit from the settings of its primary member, and a small unit
// for each member. All functions return 0 on success, -1 on failure.

#include "config/network_context.h"

// Writes every unit of the bridge; continues after a failure. Records the bridge for removal by the next run
// only if all units were written.
int write_bridge_network(const NetworkContext* ctx, const char* bridge_name);

int write_bridge_netdev_unit_file(const NetworkContext* ctx, int order, const char* bridge_name);

// Writes the network unit of the bridge. Also fails if the primary member has no "network" object. The number
// in the unit's name is the bridge's own; `order` is ignored.
int write_bridge_master_network_unit_file(const NetworkContext* ctx, int order, const char* bridge_name);

// Writes the unit that attaches the interface `member_name` to the bridge, without other settings.
int write_bridge_slave_network_unit_file(const NetworkContext* ctx, int order, const char* bridge_name,
                                         const char* member_name);

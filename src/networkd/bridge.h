#pragma once

// The LAN bridge: its device, its own network unit from the settings of its primary member, and one small
// unit for each member. All of them return 0 on success, -1 on failure.

#include "config/network_context.h"

// Writes every unit of the bridge; a failure does not stop the rest. Records the bridge for removal by the
// next run only when all went well.
int write_bridge_network(const NetworkContext* ctx, const char* bridge_name);

int write_bridge_netdev_unit_file(const NetworkContext* ctx, int order, const char* bridge_name);

// Fails, too, when the primary member has no "network" object. The unit's number is the bridge's
// own, whatever `order` says.
int write_bridge_master_network_unit_file(const NetworkContext* ctx, int order, const char* bridge_name);

// Attaches the interface `member_name` to the bridge, and nothing else.
int write_bridge_slave_network_unit_file(const NetworkContext* ctx, int order, const char* bridge_name,
                                         const char* member_name);

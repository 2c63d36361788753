#pragma once

// Undoing the previous run: links and routes stay in the kernel when their unit files go, so each APPLY
// leaves two scripts by which the next one removes them. append_clear_interfaces and
// init_runtime_network_dir, which belong here too, are declared in upcalls.h.

#include <json/json.h>

#include "config/network_context.h"

// One "ip link delete" line an interface; appended to as the generators go, so it has no head line.
inline constexpr char kDeleteInterfacesScript[] = "/var/run/.delete_interfaces";
// "#!/bin/sh", then one "ip route del" line an enabled static route.
inline constexpr char kDeleteStaticRoutesScript[] = "/var/run/.delete_static_routes";
// Where the cellular units wait while the unit directory is emptied. The platform provides it.
inline constexpr char kWwanUnitBackupDir[] = "/var/volatile/qel/.wwan_unit_backup";

// Run and delete the script of the previous run, if there is one.
void clear_network_interfaces(const NetworkContext* ctx);
void clear_static_routes(const NetworkContext* ctx);

// Writes the script that removes this run's static routes. `routes` is the array "static_routes" of the
// configuration, or null; incomplete and disabled routes are left out.
void write_clear_static_routes(const NetworkContext* ctx, const Json::Value& routes);

// Removes what is in `dir`; with `keep_wwan_units`, all but the files whose names contain "wwan.".
void remove_dir_content(const NetworkContext* ctx, const char* dir, bool keep_wwan_units);

#pragma once

// The shell script that adds the static routes of the cellular interface whenever the link has come up.

#include <json/json.h>

#include <string>

#include "config/network_context.h"

// The name of the cellular interface in the configuration's routes, whatever the link manager calls it.
inline constexpr char kWwanRouteInterface[] = "wwan0";

// The path of the script for `ifname`.
std::string wwan_static_routes_path(const std::string& ifname);

// Writes the script with a line for each enabled route of `routes` (the array "static_routes" of the
// configuration) on `ifname`; removes it when there is no such route.
void write_wwan_static_routes(const NetworkContext* ctx, const Json::Value& routes, const char* ifname);

#pragma once

// The shell script that adds the static routes of the cellular interface when the link comes up.

#include <json/json.h>

#include <string>

#include "config/network_context.h"

// The name of the cellular interface in the configuration's routes; the link manager may use another one.
inline constexpr char kWwanRouteInterface[] = "wwan0";

// Returns the path of the script for `ifname`.
std::string wwan_static_routes_path(const std::string& ifname);

// Writes the script, with a line for each enabled route on `ifname` in `routes` (the array "static_routes" of
// the configuration); removes the script if there is no such route.
void write_wwan_static_routes(const NetworkContext* ctx, const Json::Value& routes, const char* ifname);

#include "networkd/wwan_static_routes.h"

#include <syslog.h>

#include <algorithm>

#include "config/lookup.h"
#include "networkd/network_unit.h"
#include "platform/libvantor.h"
#include "util/format.h"
#include "util/open_file.h"
#include "util/subnet.h"

std::string wwan_static_routes_path(const std::string& ifname) {
  return format("/var/run/%s_static_routes", ifname.c_str());
}

static void write_route(std::FILE* script, const RouteSettings& route, const char* ifname) {
  if (!route.has_destination()) return;
  const std::string subnet = subnet_of(*route.ipv4, *route.prefix);
  if (route.has_gateway) {
    // The keyword is "gw", not "via"; if ip rejects it, the unit's [Route] section has the route.
    std::fprintf(script, "/sbin/ip route add %s gw %s dev %s\n", subnet.c_str(), route.gateway->c_str(),
                 ifname);
  } else {
    std::fprintf(script, "/sbin/ip route add %s dev %s\n", subnet.c_str(), ifname);
  }
}

void write_wwan_static_routes(const NetworkContext* ctx, const Json::Value& routes, const char* ifname) {
  print_trace(ctx, __func__);
  const bool has_route = std::any_of(routes.begin(), routes.end(), [ifname](const Json::Value& route) {
    return is_static_route_of(route, ifname);
  });
  const std::string path = wwan_static_routes_path(ifname);
  if (file_exists(path.c_str())) delete_file(path.c_str());
  if (!has_route) return;

  syslog(LOG_NOTICE, "write wwan static routes %s", ifname);
  const OpenFile script(path, "w");
  if (!script) {
    syslog(LOG_NOTICE, "error creating wwan static route file");
    return;
  }
  std::fprintf(script.get(), "#!/bin/sh\n");
  for (const Json::Value& route : routes) {
    if (is_static_route_of(route, ifname)) write_route(script.get(), read_route_settings(route), ifname);
  }
}

#include "config/network_context.h"

#include <syslog.h>

#include <utility>

#include "config/lookup.h"
#include "config/ports.h"
#include "platform/libcmd.h"
#include "util/format.h"

NetworkContext::NetworkContext(Json::Value configuration) : config(std::move(configuration)) {
  cell_enabled = is_cell_enabled(this);
  init_passthrough_modes(this);
  init_dns_mode(this);
  init_static_routes(this);
  init_bridge_mode(this);
  // The message names the bridge although this is the Wi-Fi step; log filters depend on it.
  if (init_wifi_modes(this) != 0) syslog(LOG_NOTICE, "error initializing network bridge mode");
  initialized = true;
}

bool is_initialized(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  return ctx->initialized;
}

bool is_cell_enabled(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  return is_true(ctx->config, "wireless.cell.enable");
}

// Whether the port's mode is not router mode; if so, sets the pass-through fields. Any mode except "router"
// counts, even if the port is disabled.
static bool init_port_passthrough(NetworkContext* ctx, const char* ifname) {
  std::string mode;
  if (!config_get_string(ctx->config, mode, wired_network_path(ifname) + ".mode")) return false;
  if (mode == "router") return false;
  ctx->passthrough_enabled = true;
  ctx->passthrough_interface = ifname;
  ctx->passthrough_auto = mode == "pass-through-auto";
  return true;
}

void init_passthrough_modes(NetworkContext* ctx) {
  print_trace(ctx, __func__);
  for (const EthernetPort& port : kEthernetPorts) {
    config_get_bool(ctx->config, &(ctx->*port.enabled), format("wired.%s.enable", port.name));
  }
  ctx->passthrough_enabled = false;
  ctx->passthrough_auto = false;
  // At most one port is in pass-through.
  for (const EthernetPort& port : kEthernetPorts) {
    if (init_port_passthrough(ctx, port.name)) break;
  }
}

void init_dns_mode(NetworkContext* ctx) {
  print_trace(ctx, __func__);
  // Also true for the source "static": servers of the cellular link always precede the configured ones.
  ctx->dns_auto = true;
  std::string source;
  if (config_get_string(ctx->config, source, "dns.source") && source != "static") ctx->dns_auto = true;
}

void init_static_routes(NetworkContext* ctx) {
  const Json::Value& routes = array_at(ctx->config, "static_routes");
  for (Json::ArrayIndex index = 0; index < routes.size(); ++index) {
    std::string ifname;
    if (get_static_route_interface(routes[index], ifname)) ctx->static_routes.emplace(ifname, index);
  }
}

int init_bridge_mode(NetworkContext* ctx) {
  print_trace(ctx, __func__);
  config_get_bool(ctx->config, &ctx->bridge_enabled, "wired.bridge.enable");
  config_get_array(ctx->config, ctx->bridge_interfaces, "wired.bridge.interfaces");
  config_get_string(ctx->config, ctx->bridge_primary_interface, "wired.bridge.primary_interface");
  return 0;
}

int init_wifi_modes(NetworkContext* ctx) {
  print_trace(ctx, __func__);
  if (!config_path_exists(ctx->config, Json::objectValue, "wireless.wifi")) return 0;
  ctx->wifi_configured = true;
  for (const Radio& radio : kRadios) {
    bool& is_access_point = ctx->*radio.is_access_point;
    config_get_bool(ctx->config, &is_access_point, format("wireless.wifi.%s.ap.enable", radio.name));
    if (is_access_point) ctx->ap_enabled = true;
  }
  syslog(LOG_DEBUG, "AP enabled:%d, wlan0 AP enabled:%d, wlan1 AP enabled:%d", ctx->ap_enabled,
         ctx->wlan0_ap_enabled, ctx->wlan1_ap_enabled);
  return 0;
}

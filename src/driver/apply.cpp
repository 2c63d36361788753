#include "driver/apply.h"

#include <syslog.h>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "driver/post_start_script.h"
#include "driver/undo.h"
#include "networkd/bridge.h"
#include "networkd/ethernet.h"
#include "networkd/wifi.h"
#include "networkd/wwan.h"
#include "networkd/wwan_static_routes.h"
#include "platform/libcmd.h"
#include "platform/libsysdb.h"
#include "platform/libvantor.h"
#include "tunnels/gre.h"

// Returns 0, also for a port that is not configured, or -1.
static int apply_ethernet_port(const NetworkContext* ctx, int order, const char* ifname) {
  const Json::Value* port_config = object_at(ctx->config, std::string("wired.") + ifname);
  if (port_config == nullptr) return 0;
  if (lanfab_ethernet(ctx, order, ifname, *port_config) != 0) {
    syslog(LOG_DEBUG, "lanfab %s apply failed", ifname);
    return -1;
  }
  set_sysdb_macaddr(ctx, ifname);
  set_sysdb_netmode(ctx, ifname, *port_config);
  return 0;
}

static int apply_wifi(const NetworkContext* ctx) {
  syslog(LOG_DEBUG, "wifi interfaces");
  const int result = lanfab_wifi(ctx);
  if (result != 0) syslog(LOG_DEBUG, "lanfab_wifi failed");
  return result;
}

int apply(const NetworkContext* ctx, bool pulse) {
  print_trace(ctx, __func__);
  syslog(LOG_NOTICE, "lanfab apply");
  clear_static_routes(ctx);
  clear_network_interfaces(ctx);
  write_post_networkd_start_actions_script(ctx, "echo OK");
  delete_file(kRouterModeMarker);

  int status = 0;
  if (ctx->bridge_enabled && write_bridge_network(ctx, kBridgeName) != 0) {
    syslog(LOG_NOTICE, "error writing bridge network unit files");
    status = -1;
  }
  for (const EthernetPort& port : kEthernetPorts) {
    if (apply_ethernet_port(ctx, ctx->unit_order_numbers[port.order], port.name) != 0) status = -1;
  }

  if (ctx->wifi_configured && apply_wifi(ctx) != 0) status = -1;
  gre_apply(ctx);

  const Json::Value& routes = array_at(ctx->config, "static_routes");
  if (is_true(ctx->config, "wireless.cell.enable")) {
    write_wwan_static_routes(ctx, routes, kWwanRouteInterface);
  }
  write_clear_static_routes(ctx, routes);

  if (status != 0) {
    syslog(LOG_NOTICE, "cmd lanfab apply FAILED");
    return status;
  }
  wwan_apply(ctx);
  // The same as pulse_ethernet_ports, inline.
  if (pulse) print_trace(ctx, "pulse_ethernet_ports");
  syslog(LOG_NOTICE, "cmd lanfab apply OK");
  return status;
}

int wwan_apply(const NetworkContext* ctx) {
  const int result = init_wwan_interface(ctx);
  gre_apply(ctx);
  constexpr char kNetworkd[] = "systemd-networkd";
  if (is_service_active(kNetworkd)) {
    execute_systemctl_restart(kNetworkd);
  } else {
    execute_systemctl_start(kNetworkd);
  }
  return result;
}

void set_sysdb_macaddr(const NetworkContext* ctx, const char* ifname) {
  print_trace(ctx, __func__);
  char address[16] = "";
  get_if_hw_addr(ifname, address);
  const EthernetPort* port = find_ethernet_port(ifname);
  if (port == nullptr) return;
  for (const char* key : port->mac_address_keys) {
    if (key != nullptr) sysdb_write_str(0, key, address, 0);
  }
}

// A missing mode counts as router here, although the port's generator treats it as pass-through.
static const char* port_mode(const Json::Value& port_config) {
  if (!is_enabled(port_config)) return "Disabled";
  std::string mode = "router";
  config_get_string(port_config, mode, "network.mode");
  return mode == "router" ? "Router" : "Pass-through";
}

void set_sysdb_netmode(const NetworkContext* ctx, const char* ifname, const Json::Value& port_config) {
  print_trace(ctx, __func__);
  const EthernetPort* port = find_ethernet_port(ifname);
  if (port != nullptr) sysdb_namedb_write_str(0, "NET", port->mode_key, port_mode(port_config), 0);
}

int pulse_ethernet_ports(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  return 0;
}

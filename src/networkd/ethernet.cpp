#include "networkd/ethernet.h"

#include <syslog.h>

#include <string>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "driver/undo.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"
#include "util/child_process.h"
#include "util/open_file.h"

static int write_router_unit(const NetworkContext* ctx, int order, const char* ifname,
                             const Json::Value& network) {
  if (is_bridge_member(ctx, ifname)) {
    // The bridge writes the unit of its member, and is deleted instead of it.
    syslog(LOG_DEBUG, "interface %s is LAN bridge", ifname);
    return 0;
  }
  const int result = write_network_unit_file(ctx, order, ifname, network, false, nullptr) != 0 ? -1 : 0;
  if (result != 0) {
    syslog(LOG_NOTICE, "error writing network unit file");
  } else {
    syslog(LOG_DEBUG, "added %s network unit file", ifname);
  }
  append_clear_interfaces(ctx, ifname, nullptr);
  return result;
}

static int apply_router_mode(const NetworkContext* ctx, int order, const char* ifname,
                             const Json::Value& network) {
  syslog(LOG_NOTICE, "interface %s is in router mode", ifname);
  qelsys("/bin/touch %s", kRouterModeMarker);
  const int result = write_router_unit(ctx, order, ifname, network);
  if (const Json::Value* vlan = object_at(network, "advanced.vlan")) {
    write_vlan_networks(ctx, ctx->unit_order_numbers[kVlanOrder], ifname, *vlan);
  }
  set_telnet_service(ctx, network);
  return result;
}

// Writes a unit without an address; the cellular link replaces it when its values are available. Returns 0 or
// -1.
static int write_passthrough_unit(const NetworkContext* ctx, int order, const char* ifname,
                                  const Json::Value& network) {
  OpenFile file = open_unit_file(ctx, order, ifname, "network");
  if (!file) return -1;
  std::fprintf(file.get(), "[Match]\nName = %s\n\n", ifname);
  write_network_secondary_ip(ctx, file.get(), ifname, network);
  return file.close();
}

static int apply_passthrough_mode(const NetworkContext* ctx, int order, const char* ifname,
                                  const Json::Value& network) {
  syslog(LOG_NOTICE, "interface %s is in pass-through mode", ifname);
  const int result = write_passthrough_unit(ctx, order, ifname, network);
  if (result != 0) syslog(LOG_NOTICE, "error writing %s network unit file for pass-through mode", ifname);
  return result;
}

PortSettings read_port_settings(const Json::Value& port_config) {
  return {is_enabled(port_config), object_at(port_config, "network"),
          string_at(port_config, "network.mode") == "router"};
}

int lanfab_ethernet(const NetworkContext* ctx, int order, const char* ifname,
                    const Json::Value& port_config) {
  print_trace(ctx, __func__);
  const PortSettings port = read_port_settings(port_config);
  if (!port.is_enabled) {
    syslog(LOG_NOTICE, "interface %s is disabled", ifname);
    turn_off_interface(ifname);
    return 0;
  }
  syslog(LOG_NOTICE, "interface %s is enabled", ifname);
  if (port.network == nullptr) {
    syslog(LOG_NOTICE, "config requires network config");
    return -1;
  }
  if (port.is_router) return apply_router_mode(ctx, order, ifname, *port.network);
  return apply_passthrough_mode(ctx, order, ifname, *port.network);
}

// Writes the units of an entry of a port's VLAN list. If a unit cannot be written, logs that and continues.
static void write_vlan(const NetworkContext* ctx, const char* ifname, const Vlan& vlan) {
  if (!vlan.has_interface()) return;
  const int order = ctx->unit_order_numbers[kVlanOrder];
  const std::string name = vlan_name(ifname, *vlan.vid);
  if (write_vlan_netdev_unit_file(ctx, order, name.c_str(), *vlan.vid) != 0) {
    syslog(LOG_NOTICE, "error writing vlan netdev unit file");
  }
  if (write_network_unit_file(ctx, order, name.c_str(), *vlan.network(), false, nullptr) != 0) {
    syslog(LOG_NOTICE, "error writing vlan network unit file");
  }
  append_clear_interfaces(ctx, name.c_str(), "vlan");
}

int write_vlan_networks(const NetworkContext* ctx, int order, const char* ifname,
                        const Json::Value& vlan_config) {
  print_trace(ctx, __func__);
  syslog(LOG_DEBUG, "lanfab network: %d-%s", order, ifname);
  if (!is_enabled(vlan_config)) return 0;
  syslog(LOG_NOTICE, "%s vlan enabled", ifname);
  bool hybrid = true;
  if (config_get_bool(vlan_config, &hybrid, "hybrid")) {
    syslog(LOG_DEBUG, "%s vlan hybrid mode:%d", ifname, hybrid);
  }
  for (const Vlan& vlan : read_vlans(&vlan_config))
    write_vlan(ctx, ifname, vlan);
  return 0;
}

int write_vlan_netdev_unit_file(const NetworkContext* ctx, int order, const char* name, int vid) {
  print_trace(ctx, __func__);
  OpenFile file = open_unit_file(ctx, order, name, "netdev");
  if (!file) return -1;
  std::fprintf(file.get(), "[NetDev]\nName = %s\nKind = vlan\n\n[VLAN]\nId = %d\n", name, vid);
  return file.close();
}

int set_telnet_service(const NetworkContext* ctx, const Json::Value& network_config) {
  print_trace(ctx, __func__);
  bool enable = false;
  if (!config_get_bool(network_config, &enable, "advanced.telnet.enable")) return 0;
  if (enable) {
    syslog(LOG_NOTICE, "starting telnetd");
    run_shell("/usr/bin/telnet-init start 2>/dev/null");
  } else {
    run_shell("/usr/bin/telnet-init stop 2>/dev/null");
  }
  return 0;
}

void turn_off_interface(const char* ifname) {
  syslog(LOG_DEBUG, "turning off interface %s", ifname);
  ip_link_set_interface_down(ifname);
}

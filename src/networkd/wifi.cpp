#include "networkd/wifi.h"

#include <syslog.h>

#include <string>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "config/ports.h"
#include "driver/undo.h"
#include "networkd/network_unit.h"
#include "util/format.h"

AccessPoint read_access_point(const NetworkContext* ctx, const char* ifname) {
  if (is_bridge_member(ctx, ifname)) return {true, nullptr};
  return {false, object_at(ctx->config, access_point_network_path(ifname))};
}

WifiClient read_wifi_client(const Json::Value& client_config) {
  return {is_enabled(client_config), object_at(client_config, "network")};
}

// Returns 0 or -1. An access point without its "network" object has no unit, but is recorded.
static int write_access_point(const NetworkContext* ctx, const char* ifname) {
  syslog(LOG_NOTICE, "wifi %s AP enabled", ifname);
  const AccessPoint access_point = read_access_point(ctx, ifname);
  if (access_point.is_bridged) {
    syslog(LOG_NOTICE, "interface %s is part of %s bridge interface", ifname, kBridgeName);
    return 0;
  }
  int result = 0;
  const int order = ctx->unit_order_numbers[kWifiApOrder];
  const Json::Value* network = access_point.network;
  if (network != nullptr && write_network_unit_file(ctx, order, ifname, *network, false, nullptr) != 0) {
    syslog(LOG_NOTICE, "error writing network unit file");
    result = -1;
  }
  append_clear_interfaces(ctx, ifname, nullptr);
  return result;
}

static void write_client(const NetworkContext* ctx, const char* ifname) {
  const Json::Value* client = object_at(ctx->config, format("wireless.wifi.%s.client", ifname));
  if (client == nullptr) return;
  if (write_wifi_client(ctx, *client, ifname) != 0) {
    syslog(LOG_NOTICE, "error writing wifi client %s network config", ifname);
  }
  append_clear_interfaces(ctx, ifname, nullptr);
}

int lanfab_wifi(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  int result = 0;
  for (const Radio& radio : kRadios) {
    if (ctx->ap_enabled && ctx->*radio.is_access_point && write_access_point(ctx, radio.name) != 0)
      result = -1;
  }
  for (const Radio& radio : kRadios)
    write_client(ctx, radio.name);
  return result;
}

int write_wifi_client(const NetworkContext* ctx, const Json::Value& client_config, const char* ifname) {
  print_trace(ctx, __func__);
  const WifiClient client = read_wifi_client(client_config);
  if (!client.has_unit()) return 0;
  const int order = ctx->unit_order_numbers[kWifiClientOrder];
  if (write_network_unit_file(ctx, order, ifname, *client.network, false, nullptr) == 0) return 0;
  syslog(LOG_NOTICE, "error writing network unit file");
  return -1;
}

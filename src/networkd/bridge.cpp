#include "networkd/bridge.h"

#include <syslog.h>

#include <cstdio>
#include <string>

#include "config/interface_queries.h"
#include "config/lookup.h"
#include "driver/undo.h"
#include "networkd/network_unit.h"
#include "networkd/unit_file.h"
#include "util/open_file.h"

// Sorts directly before the Wi-Fi units.
static int bridge_order(const NetworkContext* ctx) {
  return ctx->unit_order_numbers[kWifiApOrder] - 1;
}

int write_bridge_network(const NetworkContext* ctx, const char* bridge_name) {
  print_trace(ctx, __func__);
  const int order = bridge_order(ctx);
  int result = 0;
  if (write_bridge_netdev_unit_file(ctx, order, bridge_name) != 0) result = -1;
  if (write_bridge_master_network_unit_file(ctx, order, bridge_name) != 0) result = -1;
  for (const Json::Value& member : ctx->bridge_interfaces) {
    if (!has_text(member)) continue;
    const std::string name = text_of(member);
    if (write_bridge_slave_network_unit_file(ctx, order, bridge_name, name.c_str()) != 0) result = -1;
  }
  if (result == 0) append_clear_interfaces(ctx, bridge_name, nullptr);
  return result;
}

int write_bridge_netdev_unit_file(const NetworkContext* ctx, int order, const char* bridge_name) {
  print_trace(ctx, __func__);
  OpenFile file = open_unit_file(ctx, order, bridge_name, "netdev");
  if (!file) return -1;
  std::fprintf(file.get(), "[NetDev]\nName = %s\nKind = bridge\n", bridge_name);
  return file.close();
}

int write_bridge_master_network_unit_file(const NetworkContext* ctx, int /*order*/, const char* bridge_name) {
  print_trace(ctx, __func__);
  const Json::Value* network = object_at(ctx->config, bridge_primary_network_path(ctx));
  if (network == nullptr) return -1;
  const char* primary = ctx->bridge_primary_interface.c_str();
  const int result = write_network_unit_file(ctx, bridge_order(ctx), bridge_name, *network, true, primary);
  if (result == -1) syslog(LOG_NOTICE, "error writing bridge master network unit file");
  return result;
}

int write_bridge_slave_network_unit_file(const NetworkContext* ctx, int order, const char* bridge_name,
                                         const char* member_name) {
  print_trace(ctx, __func__);
  OpenFile file = open_unit_file(ctx, order, member_name, "network");
  if (!file) return -1;
  std::fprintf(file.get(), "[Match]\nName = %s\n\n[Network]\nBridge = %s\n", member_name, bridge_name);
  return file.close();
}

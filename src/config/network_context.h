#pragma once

// The one object of a run: the configuration and the mode flags derived from it.

#include <json/json.h>

#include <cstdio>
#include <map>
#include <string>

// Positions in NetworkContext::unit_order_numbers.
enum UnitOrderIndex {
  kWifiApOrder,  // the LAN bridge takes this number minus one
  kWifiClientOrder,
  kEth0Order,
  kEth1Order,
  kVlanOrder,
  kUnitOrderCount
};

struct NetworkContext {
  // Without a configuration, not initialized: every flag has its default.
  NetworkContext() = default;
  // Derives every flag from the configuration object "network"; nothing changes afterwards.
  explicit NetworkContext(Json::Value configuration);

  Json::Value config;
  // Every operation prints its own name to standard output. For callers of the library: no action sets it.
  bool trace = false;
  bool initialized = false;
  bool cell_enabled = false;
  bool passthrough_enabled = false;  // an Ethernet port is in a mode other than "router"
  bool passthrough_auto = false;     // that port's mode is "pass-through-auto"
  std::string passthrough_interface;
  bool dns_auto = true;  // a link's own DNS servers go before the configured list
  bool eth0_enabled = true;
  bool eth1_enabled = false;
  bool wifi_configured = false;
  bool ap_enabled = false;  // at least one of the two below
  bool wlan0_ap_enabled = false;
  bool wlan1_ap_enabled = false;
  bool bridge_enabled = false;
  Json::Value bridge_interfaces;         // array of the member interfaces' names
  std::string bridge_primary_interface;  // the member whose settings become the bridge's own
  // By interface, where its enabled static routes stand in "static_routes", in their order: every unit asks
  // for its own routes, and a search of the whole list for each would make a run's time grow with units times
  // routes.
  std::multimap<std::string, Json::ArrayIndex> static_routes;
  // The number that begins the name of each kind of unit file, by UnitOrderIndex.
  int unit_order_numbers[kUnitOrderCount] = {80, 84, 20, 21, 30};
};

// The trace line: `name` and a newline to standard output when the context's trace flag is set.
inline void print_trace(const NetworkContext* ctx, const char* name) {
  if (ctx->trace) std::printf("%s\n", name);
}

// Whether the context has a configuration.
bool is_initialized(const NetworkContext* ctx);

// The constructor's steps. Each derives its own fields from `config`; a missing path leaves a field as it is.
bool is_cell_enabled(const NetworkContext* ctx);
void init_passthrough_modes(NetworkContext* ctx);
void init_dns_mode(NetworkContext* ctx);
void init_static_routes(NetworkContext* ctx);
int init_bridge_mode(NetworkContext* ctx);  // always 0
int init_wifi_modes(NetworkContext* ctx);   // always 0

#pragma once

// The context of a run: the configuration and the mode flags derived from it.

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
  // Not initialized: without a configuration, every flag has its default.
  NetworkContext() = default;
  // Derives every flag from the configuration object "network"; the context does not change afterwards.
  explicit NetworkContext(Json::Value configuration);

  Json::Value config;
  // Whether every operation prints its name to standard output. For callers of the library: no action sets
  // it.
  bool trace = false;
  bool initialized = false;
  bool cell_enabled = false;
  bool passthrough_enabled = false;  // an Ethernet port is in a mode other than "router"
  bool passthrough_auto = false;     // that port's mode is "pass-through-auto"
  std::string passthrough_interface;
  bool dns_auto = true;  // a link's own DNS servers precede the configured list
  bool eth0_enabled = true;
  bool eth1_enabled = false;
  bool wifi_configured = false;
  bool ap_enabled = false;  // at least one of the following two
  bool wlan0_ap_enabled = false;
  bool wlan1_ap_enabled = false;
  bool bridge_enabled = false;
  Json::Value bridge_interfaces;         // array of the member interfaces' names
  std::string bridge_primary_interface;  // the member whose settings the bridge uses
  // Positions of the enabled static routes in "static_routes", by interface, in order: every unit reads its
  // own routes, and searching the whole list for each would take a time of units times routes.
  std::multimap<std::string, Json::ArrayIndex> static_routes;
  // The number at the beginning of the file name of each kind of unit, by UnitOrderIndex.
  int unit_order_numbers[kUnitOrderCount] = {80, 84, 20, 21, 30};
};

// Prints the trace line, `name` and a newline, to standard output if the context's trace flag is set.
inline void print_trace(const NetworkContext* ctx, const char* name) {
  if (ctx->trace) std::printf("%s\n", name);
}

// Whether the context has a configuration.
bool is_initialized(const NetworkContext* ctx);

// Steps of the constructor. Each derives its own fields from `config`; a missing path leaves a field
// unchanged.
bool is_cell_enabled(const NetworkContext* ctx);
void init_passthrough_modes(NetworkContext* ctx);
void init_dns_mode(NetworkContext* ctx);
void init_static_routes(NetworkContext* ctx);
int init_bridge_mode(NetworkContext* ctx);  // always 0
int init_wifi_modes(NetworkContext* ctx);   // always 0

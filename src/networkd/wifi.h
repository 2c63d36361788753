#pragma once

// The IP configuration of the two radios, each of which is an access point, a client, or both. Other software
// of the device manages names and keys of the Wi-Fi networks.

#include <json/json.h>

#include "config/network_context.h"

// An enabled access point, as read from the configuration.
struct AccessPoint {
  bool is_bridged;             // the bridge writes its unit
  const Json::Value* network;  // of its own unit; null if it has none
};

AccessPoint read_access_point(const NetworkContext* ctx, const char* ifname);

// A client, as read from the configuration.
struct WifiClient {
  bool is_enabled;
  const Json::Value* network;  // its "network" object; null if there is none

  bool has_unit() const {
    return is_enabled && network != nullptr;
  }
};

// Reads a client from its object of the configuration.
WifiClient read_wifi_client(const Json::Value& client_config);

// Writes the units of both radios. Returns 0, or -1 if the unit of an access point cannot be written; a
// client's failure is only logged.
int lanfab_wifi(const NetworkContext* ctx);

// Writes the unit of a client from its object of the configuration if it is enabled and has a "network".
// Returns 0, or -1 if the unit cannot be written.
int write_wifi_client(const NetworkContext* ctx, const Json::Value& client_config, const char* ifname);

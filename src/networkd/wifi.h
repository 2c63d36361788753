#pragma once

// The IP side of the two radios, each an access point, a client, or both. Names and keys of the radio
// networks belong to other software of the device.

#include <json/json.h>

#include "config/network_context.h"

// What the configuration makes of an enabled access point.
struct AccessPoint {
  bool is_bridged;             // the bridge writes its unit
  const Json::Value* network;  // of its own unit; null when it gets none
};

AccessPoint read_access_point(const NetworkContext* ctx, const char* ifname);

// What the configuration makes of a client.
struct WifiClient {
  bool is_enabled;
  const Json::Value* network;  // its "network" object; null when there is none

  bool has_unit() const {
    return is_enabled && network != nullptr;
  }
};

// Reads the client's object of the configuration.
WifiClient read_wifi_client(const Json::Value& client_config);

// Writes the units of both radios. Returns 0, or -1 when the unit of an access point cannot be written; a
// client's failure is only logged.
int lanfab_wifi(const NetworkContext* ctx);

// Writes the unit of a client from its object of the configuration, when it is enabled and has a "network".
// Returns 0, or -1 when the unit cannot be written.
int write_wifi_client(const NetworkContext* ctx, const Json::Value& client_config, const char* ifname);

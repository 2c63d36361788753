#pragma once

// The cellular interface: with its own address and the default route, or handing its address on to the one
// device behind an Ethernet port.

#include <json/json.h>

#include <optional>
#include <string>

#include "config/network_context.h"

// What the configuration adds to the values of the link.
struct WwanSettings {
  std::optional<int> prefix;
  std::optional<int> mtu;
  std::optional<int> metric;  // of the default route; always 0 in pass-through mode

  // Whether it takes the place of the link's own.
  bool has_prefix() const {
    return prefix.value_or(0) > 0;
  }
  bool has_mtu() const {
    return mtu.value_or(0) > 0;
  }
};

WwanSettings read_wwan_settings(const NetworkContext* ctx);

// The Ethernet port behind which the device sits that gets the cellular address.
struct PassthroughPort {
  const char* ifname;
  int order;
  std::optional<std::string> address;  // without one, the port takes that of the cellular gateway
  std::optional<int> prefix;           // without one, the port takes that of the cellular address
  bool has_secondary_ip;
};

PassthroughPort read_passthrough_port(const NetworkContext* ctx);

// Writes the cellular unit and, in pass-through mode, the port's unit in place of the bare one. Returns 0, or
// -1 when the link manager's values are not available or the cellular unit cannot be written; in router mode,
// the result of the GRE tunnels, which may use the cellular address.
int init_wwan_interface(const NetworkContext* ctx);

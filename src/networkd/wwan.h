#pragma once

// The cellular interface: either with its own address and the default route, or in pass-through, where the
// single device behind an Ethernet port gets the address.

#include <json/json.h>

#include <optional>
#include <string>

#include "config/network_context.h"

// Configured settings in addition to the values of the link.
struct WwanSettings {
  std::optional<int> prefix;
  std::optional<int> mtu;
  std::optional<int> metric;  // of the default route; always 0 in pass-through mode

  // Whether the configured value replaces the link's own.
  bool has_prefix() const {
    return prefix.value_or(0) > 0;
  }
  bool has_mtu() const {
    return mtu.value_or(0) > 0;
  }
};

WwanSettings read_wwan_settings(const NetworkContext* ctx);

// The pass-through port: the device behind it gets the cellular address.
struct PassthroughPort {
  const char* ifname;
  int order;
  std::optional<std::string> address;  // if unset, the port uses that of the cellular gateway
  std::optional<int> prefix;           // if unset, the port uses that of the cellular address
  bool has_secondary_ip;
};

PassthroughPort read_passthrough_port(const NetworkContext* ctx);

// Writes the cellular unit and, in pass-through mode, replaces the port's minimal unit. Returns 0, or -1 if
// the link manager's values are not available or the cellular unit cannot be written; in router mode, returns
// the result of the GRE tunnels, which may use the cellular address.
int init_wwan_interface(const NetworkContext* ctx);

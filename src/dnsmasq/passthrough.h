#pragma once

// The DHCP section of the pass-through port, which serves the single device behind it: with the cellular
// address while the link has one, otherwise with the device's address of the port's link-local pair, so that
// the device can always reach the gateway.

#include <json/json.h>

#include <cstdio>
#include <optional>
#include <string>

#include "config/network_context.h"

enum class PassthroughSection { kAutomatic, kStaticFallback, kStaticWwan, kOrdinaryPort };

// Returns the section of the port for this gateway of the cellular link; `gateway` is null while the link has
// no address.
PassthroughSection choose_passthrough_section(const NetworkContext* ctx, const char* port,
                                              const char* gateway);

struct PassthroughRange {
  std::string start;
  std::string end;
};

// Returns the range that a static pass-through port with the address `own` serves, from its "network" object.
// Returns nothing if each end is missing, empty or that address: then the port serves the cellular address.
std::optional<PassthroughRange> read_passthrough_range(const Json::Value& network, const std::string& own);

// Writes the section of the pass-through port, "eth0" or "eth1". Returns false without writing anything if
// the port must be served as an ordinary LAN port instead.
bool dnsmasq_add_passthrough(const NetworkContext* ctx, std::FILE* file, const char* port);

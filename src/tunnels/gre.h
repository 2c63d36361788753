#pragma once

// GRE tunnels: the tunnel at position `index` of "tunnels.gre" is gre-tun<index + 1>, its units
// begin with index + 70, and traffic that arrives through it can be sent back through it by the
// routing table index + 308.

#include <json/json.h>

#include <string>

#include "config/network_context.h"

// The name of the interface of the tunnel at position `index`.
std::string gre_tunnel_name(int index);

// Applies every tunnel of the configuration; running it twice does no harm, since each tunnel is deleted
// first. Returns 0, or the result of the first tunnel that failed: it and those after it are then left out.
int gre_apply(const NetworkContext* ctx);

// Deletes the tunnel from the kernel and, when it is enabled, writes its two units. Returns 0; -1 when a
// required inner setting is missing or the network unit cannot be written.
int gre_tun_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel);

// Empties the tunnel's routing table and, when the tunnel asks for it, fills it. Always 0.
int gre_incoming_routes_apply(const NetworkContext* ctx, int index, const Json::Value& tunnel);

// Writes the unit of the GRE tap device. Returns 0, or -1 when it cannot be written. No action calls it.
int gre_tap_apply(const NetworkContext* ctx, const Json::Value& tunnel);

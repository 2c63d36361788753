#pragma once

// The upstream DNS servers that dnsmasq asks.

#include <json/json.h>

#include "config/network_context.h"

inline constexpr char kResolvConf[] = "/var/run/resolv.conf";

// Whether the configuration wants the cellular link's servers.
bool wants_link_servers(const Json::Value& config);

// Writes the resolver file: the cellular link's servers when the configuration wants them and the link has
// some, the configured list otherwise. Returns 0 in every case, also when the file cannot be written.
int dnsmasq_write_resolv_conf(const NetworkContext* ctx);

#pragma once

// The upstream DNS servers of dnsmasq.

#include <json/json.h>

#include "config/network_context.h"

inline constexpr char kResolvConf[] = "/var/run/resolv.conf";

// Whether the configuration selects the cellular link's servers.
bool wants_link_servers(const Json::Value& config);

// Writes the resolver file: the cellular link's servers if the configuration selects them and the link has
// any, otherwise the configured list. Always returns 0, also if the file cannot be written.
int dnsmasq_write_resolv_conf(const NetworkContext* ctx);

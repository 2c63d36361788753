#pragma once

// The one configuration file of dnsmasq.

#include "config/network_context.h"

inline constexpr char kDnsmasqConf[] = "/var/run/dnsmasq.conf";

// Where dnsmasq keeps the leases that it has given out.
inline constexpr char kDynamicLeases[] = "/var/run/dnsmasq.leases";

// Regenerates the hosts file, the resolver file and the configuration. Returns 0 in every case; a failure is
// logged and leaves the configuration as it was.
int dnsmasq_apply(const NetworkContext* ctx);

// The same; returns -1 when the staging file, from which the configuration is copied, cannot be written.
int dnsmasq_write_dnsmasq_conf(const NetworkContext* ctx);

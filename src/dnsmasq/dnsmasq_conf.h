#pragma once

// The configuration file of dnsmasq.

#include "config/network_context.h"

inline constexpr char kDnsmasqConf[] = "/var/run/dnsmasq.conf";

// The lease file of dnsmasq.
inline constexpr char kDynamicLeases[] = "/var/run/dnsmasq.leases";

// Regenerates the hosts file, the resolver file and the configuration. Always returns 0; a failure is logged
// and leaves the configuration unchanged.
int dnsmasq_apply(const NetworkContext* ctx);

// Does the same as dnsmasq_apply, but returns -1 if the staging file, which is copied to the configuration,
// cannot be written.
int dnsmasq_write_dnsmasq_conf(const NetworkContext* ctx);

#pragma once

// The one configuration file of dnsmasq, and the hosts file that it serves names from.

#include "config/network_context.h"

inline constexpr char kDnsmasqConf[] = "/var/run/dnsmasq.conf";
// Written first and copied into place when complete. The platform provides its folder.
inline constexpr char kDnsmasqConfStaging[] = "/var/volatile/qel/.dnsmasq_conf";
inline constexpr char kHostsFile[] = "/var/run/hosts";

// Regenerates the hosts file, the resolver file and the configuration. Returns 0 in every case; a failure is
// logged and leaves the configuration as it was.
int dnsmasq_apply(const NetworkContext* ctx);

// The same; returns -1 when the staging file cannot be opened.
int dnsmasq_write_dnsmasq_conf(const NetworkContext* ctx);

// Appends the "hostnames" of the configuration to the hosts file.
void dnsmasq_add_hostnames(const NetworkContext* ctx);

// Appends one name to the hosts file. Returns 0, or -1 when the file cannot be opened.
int dnsmasq_add_dns_host(const NetworkContext* ctx, const char* hostname, const char* ipv4);

#pragma once

// The hosts file that dnsmasq serves names from.

#include "config/network_context.h"

inline constexpr char kHostsFile[] = "/var/run/hosts";

// Appends the "hostnames" of the configuration.
void dnsmasq_add_hostnames(const NetworkContext* ctx);

// Appends one name. Returns 0, or -1 when it cannot be written.
int dnsmasq_add_dns_host(const NetworkContext* ctx, const char* hostname, const char* ipv4);

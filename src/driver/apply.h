#pragma once

// The sequences of the actions APPLY and WWAN_APPLY.

#include <json/json.h>

#include "config/network_context.h"

// Undoes the previous run, writes every unit and script of the current configuration and, if every step
// succeeded, continues with wwan_apply. No failure stops the sequence. `pulse` is the option
// "--pulse-ethernet". Returns 0, or -1 if a step failed; then systemd-networkd is not restarted.
int apply(const NetworkContext* ctx, bool pulse);

// Writes the files that depend on the cellular link, and starts or restarts systemd-networkd. Returns the
// result of the cellular interface.
int wwan_apply(const NetworkContext* ctx);

// Records the MAC address of the port in the system database; does nothing for another interface.
void set_sysdb_macaddr(const NetworkContext* ctx, const char* ifname);

// Records the mode of the port in the system database: "Router", "Pass-through" or "Disabled". `port_config`
// is the port's object of the configuration.
void set_sysdb_netmode(const NetworkContext* ctx, const char* ifname, const Json::Value& port_config);

// Only prints its trace line; always returns 0. For callers of the library: no action calls this.
int pulse_ethernet_ports(const NetworkContext* ctx);

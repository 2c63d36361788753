#pragma once

// The sequences behind the actions APPLY and WWAN_APPLY.

#include <json/json.h>

#include "config/network_context.h"

// Undoes the previous run, writes every unit and script of the current configuration and, when every step
// succeeded, goes on with wwan_apply. No failure stops the sequence. `pulse` is the switch
// "--pulse-ethernet". Returns 0, or -1 when a step failed; systemd-networkd is then left alone.
int apply(const NetworkContext* ctx, bool pulse);

// Writes what depends on the cellular link and starts or restarts systemd-networkd. Returns the result
// of the cellular interface.
int wwan_apply(const NetworkContext* ctx);

// Records the MAC address of the port in the system database; does nothing for another interface.
void set_sysdb_macaddr(const NetworkContext* ctx, const char* ifname);

// Records the mode of the port there: "Router", "Pass-through" or "Disabled". `port_config` is the port's
// object of the configuration.
void set_sysdb_netmode(const NetworkContext* ctx, const char* ifname, const Json::Value& port_config);

// Does nothing but its trace line; always 0. For callers of the library: no action calls this.
int pulse_ethernet_ports(const NetworkContext* ctx);

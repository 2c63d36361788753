#pragma once

// `lanfab status --probe`: checks that send packets.

#include <vector>

#include "cli/base/subprocess.h"
#include "cli/status/drift.h"

// Sends all probes at the same time, waits for the answers, and appends drift for each of these findings:
//
// - another host has an address of the gateway (ARP probes, which announce nothing);
// - another DHCP server answers on a network that the gateway serves;
// - a gateway of a route, the remote endpoint of a tunnel or a DNS server does not answer.
//
// Requires root.
void add_probe_drift(const Snapshot& snapshot, std::vector<Drift>& drift,
                     int milliseconds = kQuerySeconds * 1000);

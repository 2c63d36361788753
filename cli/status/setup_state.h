#pragma once

// What is still being set up, by a run or by systemd-networkd.

#include <string>

#include "cli/status/snapshot.h"

// Whether a run is in progress or systemd-networkd has just started: anything may change in the next seconds.
bool is_settling(const Snapshot& snapshot);

// Whether the interface is being set up; also true while anything may change. False once systemd-networkd
// has got no further for 30 s.
bool is_being_set_up(const Snapshot& snapshot, const std::string& interface);

// Whether systemd-networkd has waited in vain for udev to announce the interface: udev could not rename it,
// for instance.
bool is_held_up_by_udev(const Snapshot& snapshot, const std::string& interface);

// Whether a difference of the interface is pending. It is not without a carrier, for which systemd-networkd
// waits.
bool is_pending_at(const Snapshot& snapshot, const std::string& interface);

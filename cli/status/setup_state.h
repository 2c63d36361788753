#pragma once

// Whether a run or systemd-networkd is still setting up interfaces.

#include <string>

#include "cli/status/snapshot.h"

// Whether a run is in progress or systemd-networkd has just started: anything may change in the next seconds.
bool is_settling(const Snapshot& snapshot);

// Whether the interface is being set up; always true while is_settling(). False if systemd-networkd has made
// no progress for 30 s.
bool is_being_set_up(const Snapshot& snapshot, const std::string& interface);

// Whether systemd-networkd is still waiting after that time for udev to announce the interface, for example
// because udev could not rename it.
bool is_held_up_by_udev(const Snapshot& snapshot, const std::string& interface);

// Whether drift of the interface is pending. It is not if the interface is up without a carrier, since
// systemd-networkd waits for the carrier.
bool is_pending_at(const Snapshot& snapshot, const std::string& interface);

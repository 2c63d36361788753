#pragma once

// Differences between the gateway and its configuration.

#include <string>
#include <vector>

#include "cli/status/snapshot.h"

struct Drift {
  std::string subject;      // an interface, a service, an action, or "lock"
  std::string what;         // "the address 192.168.1.1/24 is missing"; the same while it is pending
  bool is_pending = false;  // a run or systemd is still removing the difference
  std::string why;          // why it matters, one clause: "large packets are dropped"; may be empty
  std::string fix;          // the command that fixes it; empty if there is none
  // It is not configured, but left by a previous configuration or added by hand: an address, a tunnel, a
  // route.
  bool is_surplus = false;
};

// "the address 192.168.1.1/24 is missing (pending)"
std::string describe(const Drift& drift);

// A word of a command for `fix` that a shell takes as it is, quoted if necessary.
std::string quoted_for_shell(const std::string& text);

// By subject: the interfaces, the services, the runs, the lock.
std::vector<Drift> find_drift(const Snapshot& snapshot);

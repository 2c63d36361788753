#pragma once

// Differences between the gateway and its configuration.

#include <string>
#include <vector>

#include "cli/status/snapshot.h"

struct Drift {
  std::string subject;      // an interface, a service, an action, a file, or a word such as "lock"
  std::string what;         // "the address 192.168.1.1/24 is missing"; does not change while it is pending
  bool is_pending = false;  // a run or systemd is still removing the difference
  std::string why;          // why it matters, one clause: "large packets are dropped"; may be empty
  std::string fix;          // the command that fixes it; empty if there is none
  // Something that is not configured exists: an address, a tunnel or a route of a previous configuration, or
  // one that was added by hand.
  bool is_surplus = false;
};

// "the address 192.168.1.1/24 is missing (pending)"
std::string describe(const Drift& drift);

// Returns a word of the shell command `fix`, quoted if necessary.
std::string quoted_for_shell(const std::string& text);

// Returns the drift of the kernel's state, the services, the last runs and the lock, in this order.
std::vector<Drift> find_drift(const Snapshot& snapshot);

#pragma once

// What a run finds when it begins: the state of a gateway.

#include <optional>
#include <string>
#include <vector>

#include "cli/dry_run/tree.h"

struct SandboxPort {
  std::string name;
  std::string mac_address;  // 02:00:5e:00:53:00
};

struct InitialState {
  Tree tree;
  std::vector<SandboxPort> ports;
  std::vector<std::string> active_services;
  // The value of CELL_CONNECTED, when it is not the one that the copied database has.
  std::optional<std::string> is_cell_connected;
};

// Whether this machine is a gateway: its cellular link has published an interface, or a run has left its
// files.
bool is_gateway();

// The state for a preview. `cell` says what the cellular link is like: "up" with example values, "down",
// "here" with this machine's own, or a directory with files wwan_* and perhaps CELL_CONNECTED, which is 1
// without it. Empty, it is "here" on a gateway and "up" elsewhere. The rest is copied from this machine if it
// is a gateway or `cell` is "here", and otherwise that of a gateway that has just started. Returns nothing,
// or what is wrong with `cell`.
std::optional<std::string> make_initial_state(const std::string& cell, InitialState& state);

// All that a run can have written: what it left here, but for the lock, and the values of the cellular link.
Tree state_of_this_machine();

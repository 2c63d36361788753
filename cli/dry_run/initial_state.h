#pragma once

// The state of a gateway at the beginning of a run.

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
  // The value of CELL_CONNECTED; nullopt to keep the value in the copied database.
  std::optional<std::string> is_cell_connected;
};

// Whether this machine is a gateway: its cellular link has published an interface, or a run has left its
// files.
bool is_gateway();

// Makes the initial state of a dry run. `cell` is the state of the cellular link: "up" with example values,
// "down", "here" with the values of this machine, or a directory with files named wwan_* and optionally
// CELL_CONNECTED (1 if it is missing). An empty `cell` means "here" on a gateway and "up" elsewhere. All
// other state is copied from this machine if it is a gateway or `cell` is "here"; otherwise it is that of a
// gateway that has just started. Returns nullopt, or an error message if `cell` is not valid.
std::optional<std::string> make_initial_state(const std::string& cell, InitialState& state);

// The files that runs may have left on this machine, without the lock, and the values of the cellular link.
Tree state_of_this_machine();

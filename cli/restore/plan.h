#pragma once

// What differs in the kernel from what was there before a trial, and the commands that undo it.
//
// Restored are the links that a configuration names: the one before the trial, that on trial, or the present
// one. On all others, whatever appears or disappears during a trial is left alone: neither configuration
// explains the bridge of a container or a tunnel that its own daemon makes. Only the kernel's switches for
// forwarding and the like are restored everywhere, since a configuration changes them for all links at once.
//
// What systemd-networkd has configured after the rollback is explained by the old configuration, also if it
// was missing before. What the kernel derives (connected and local routes) follows by itself, and what came
// with a lease is only removed.

#include <set>
#include <string>
#include <vector>

#include "cli/restore/kernel_state.h"
#include "cli/restore/networkd_state.h"

struct Step {
  std::string difference;  // "eth1 has MTU 1430 instead of 1500"; may hold strings of others
  // Of `ip`. Empty for a file below /proc/sys, and for what cannot be changed.
  Words command;
  std::string sysctl = {};
  std::string value = {};
};

// The names that unit files give to links.
struct UnitNames {
  std::set<std::string> links;  // in any unit
  std::set<std::string> made;   // of which systemd-networkd makes the link
};

struct Comparison {
  const KernelState& before;
  const KernelState& now;
  const NetworkdState& networkd;       // now
  const UnitNames& units;              // now
  const std::set<std::string>& links;  // that a configuration names
};

// In this order: what a stage does changes what is left to do for the later ones.
enum class Stage {
  kLinks,         // those that the trial has made
  kCards,         // settings of links that are on no other one
  kMadeLinks,     // of the others
  kOldAddresses,  // those to remove
  kAddresses,
  kOldRoutes,
  kRoutes,
  kRules,
  kSwitches,  // sysctls that change those of each link
  kSysctls,
};

constexpr Stage kStages[] = {Stage::kLinks,     Stage::kCards,     Stage::kMadeLinks, Stage::kOldAddresses,
                             Stage::kAddresses, Stage::kOldRoutes, Stage::kRoutes,    Stage::kRules,
                             Stage::kSwitches,  Stage::kSysctls};

std::vector<Step> steps_of(Stage stage, const Comparison& comparison);

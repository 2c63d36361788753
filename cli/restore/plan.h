#pragma once

// Differences between the kernel's network and its state before a trial, and the commands that undo them.
//
// Only links that a configuration names are restored: the configuration before the trial, the one on trial,
// or the present one. All other links are left alone, such as the bridge of a container or a tunnel that
// its own daemon creates. Sysctls such as forwarding are an exception: they are restored for all links,
// since a configuration changes them for all links at once.
//
// Anything that systemd-networkd has configured after the rollback belongs to the old configuration, even
// if it was missing before the trial. Connected and local routes are not compared, since the kernel derives
// them. Addresses and routes of a DHCP lease are only removed, never added.

#include <set>
#include <string>
#include <vector>

#include "cli/restore/kernel_state.h"
#include "cli/restore/networkd_state.h"

struct Step {
  std::string difference;  // "eth1 has MTU 1430 instead of 1500"; may contain strings from outside
  // Arguments of `ip`. Empty for a sysctl, and for a difference that cannot be undone.
  Words command;
  std::string sysctl = {};
  std::string value = {};
};

// Names of the links that have unit files.
struct UnitNames {
  std::set<std::string> links;  // with any unit
  std::set<std::string> made;   // with a unit from which systemd-networkd creates the link
};

struct Comparison {
  const KernelState& before;
  const KernelState& now;
  const NetworkdState& networkd;       // the present one
  const UnitNames& units;              // the present ones
  const std::set<std::string>& links;  // those that a configuration names
};

// The stages of a restoration, in order: the steps of a stage change what is left to do for the later ones.
enum class Stage {
  kLinks,         // links that the trial has created
  kCards,         // settings of links that are not on top of others
  kMadeLinks,     // settings of all other links
  kOldAddresses,  // addresses to remove
  kAddresses,
  kOldRoutes,
  kRoutes,
  kRules,
  kSwitches,  // sysctls for all links, which change those of each link
  kSysctls,
};

constexpr Stage kStages[] = {Stage::kLinks,     Stage::kCards,     Stage::kMadeLinks, Stage::kOldAddresses,
                             Stage::kAddresses, Stage::kOldRoutes, Stage::kRoutes,    Stage::kRules,
                             Stage::kSwitches,  Stage::kSysctls};

std::vector<Step> steps_of(Stage stage, const Comparison& comparison);

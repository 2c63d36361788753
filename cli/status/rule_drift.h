#pragma once

// Compares the policy rules, and the routing tables for replies to tunnels, with the configuration.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// Gateways of the replies to tunnels, by tunnel, from the active configuration. Empty if the configuration
// cannot be read, or if the program that creates the tables for replies is not installed.
std::map<std::string, std::string> read_reply_gateways();

// The foreign rule that leads to the table of `choice` or, if that is nothing, to no table; null if there is
// none.
const KernelRule* diverting_rule(const Snapshot& snapshot, const std::optional<RouteChoice>& choice);

// The command that deletes the rule.
std::string deletion_of(const KernelRule& rule);

// Appends the differences.
void find_rule_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

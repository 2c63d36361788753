#pragma once

// Compares the policy rules, and the routing tables for replies to tunnels, with the configuration.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/drift.h"
#include "cli/status/snapshot.h"

// The gateway of the replies to each tunnel that has one, by the active configuration. Nothing where the
// device has no program that makes their tables.
std::map<std::string, std::string> read_reply_gateways();

// The foreign rule that leads to the table of the choice, or to nothing; null without one.
const KernelRule* diverting_rule(const Snapshot& snapshot, const std::optional<RouteChoice>& choice);

// The command that deletes it.
std::string deletion_of(const KernelRule& rule);

// Adds the differences.
void find_rule_drift(const Snapshot& snapshot, std::vector<Drift>& drift);

#pragma once

// The record of the kernel's network before a trial, and what is compared with it.

#include <json/json.h>

#include <optional>
#include <set>
#include <string>

#include "cli/restore/plan.h"

// Reads the kernel's links, addresses, routes, rules and sysctls as kernel_state_of takes them. Returns
// nothing, or why it cannot be read.
std::optional<std::string> query_kernel(Json::Value& record);

// The links that the present units of systemd-networkd name.
UnitNames read_unit_names();

// Writes the kernel's state and the present units to the record. Returns nothing, or why there is no record.
std::optional<std::string> write_record();

// Reads the record. Returns nothing, or why it cannot be used: it is missing, damaged or too large.
std::optional<std::string> read_record(Json::Value& record);

// Notes which links the configuration on trial names, before its rollback replaces the units.
void note_trial_links();

// The links that a configuration names: the one before the trial, that on trial, or the present one.
std::set<std::string> named_links(const Json::Value& record);

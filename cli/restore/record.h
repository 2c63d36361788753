#pragma once

// The record of the kernel's network before a trial, and the present state that is compared with it.

#include <json/json.h>

#include <optional>
#include <set>
#include <string>

#include "cli/restore/plan.h"

// Reads the kernel's links, addresses, routes, rules and sysctls into `record`, as kernel_state_of()
// expects them. Returns nullopt, or an error message.
std::optional<std::string> query_kernel(Json::Value& record);

// Names of the links that have units of systemd-networkd at present.
UnitNames read_unit_names();

// Writes the kernel's state and the names of the links that have units to the record. Returns
// nullopt, or an error message.
std::optional<std::string> write_record();

// Reads the record. Returns nullopt, or an error message if the record is missing, damaged or too large.
std::optional<std::string> read_record(Json::Value& record);

// Saves the names of the links that have units on trial; to be called before the rollback replaces the
// units. Reports a failure.
void note_trial_links();

// Names of the links that have units in the configuration before the trial, the one on trial or
// the present one.
std::set<std::string> named_links(const Json::Value& record);

#pragma once

// Checks and preparations that `lanfab try`, `confirm` and `revert` share.

#include <optional>
#include <string>

// Returns nothing, or why this user cannot change the gateway. Changes nothing.
std::optional<std::string> check_rights();

// Makes the directory of trials and joins the mount namespace of the system: /run and /etc of a session may
// be its own. Returns nothing, or why this process cannot change the gateway.
std::optional<std::string> enter_system();

// Like enter_system(), for a service of systemd, whose /run is the system's. It has no right to join a
// namespace.
std::optional<std::string> enter_system_as_service();

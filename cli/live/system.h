#pragma once

// Checks and preparations that `lanfab try`, `confirm` and `revert` share.

#include <optional>
#include <string>

// Returns nothing, or why this user cannot change the gateway. Changes nothing.
std::optional<std::string> check_rights();

// Creates the directory of trials and joins the mount namespace of the system, since a session may have its
// own /run and /etc. Returns nothing, or why this process cannot change the gateway.
std::optional<std::string> enter_system();

// Like enter_system(), but for a systemd service: its /run is that of the system, and it is not allowed to
// join a namespace.
std::optional<std::string> enter_system_as_service();

#pragma once

// What `lanfab try`, `confirm` and `revert` need of the machine, and how they keep out of each other's way.

#include <optional>
#include <string>

// Below /run: a reboot ends every trial.
inline constexpr char kStateDirectory[] = "/run/lanfab";

// Makes the state directory and steps into the file system that the services see: a mount made in a session
// of its own would not reach them. Returns nothing, or why this process cannot change the gateway.
std::optional<std::string> enter_system();

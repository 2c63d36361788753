#pragma once

// Copies of lanfab and cmd_lanfab for the duration of a trial, so that it can be rolled back even if the
// package is upgraded or removed meanwhile.

#include <optional>
#include <string>
#include <vector>

inline constexpr char kProgramsDirectory[] = "/run/lanfab/programs";

// Copies this program and `cmd_lanfab` to kProgramsDirectory. If /run does not allow programs to be executed,
// mounts a tmpfs there. Returns nothing, or an error message.
std::optional<std::string> copy_programs(const std::string& cmd_lanfab);

// Removes the copies. Services are not allowed to unmount the tmpfs; it then stays, empty, until another
// process calls this function.
void remove_programs();

// Command line of `lanfab record apply`, for a service. It runs the copies: a service may not see the
// directories of the originals.
std::vector<std::string> apply_command_line();

// Command line of `lanfab revert` with an option, for a service. It runs the copy or, if that is not
// executable, the installed program.
std::vector<std::string> revert_command_line(const std::string& option);

#pragma once

// Copies of lanfab and cmd_lanfab for the length of a trial: it is rolled back even if the package has been
// upgraded or removed meanwhile.

#include <optional>
#include <string>
#include <vector>

inline constexpr char kProgramsDirectory[] = "/run/lanfab/programs";

// Copies this program and `cmd_lanfab` to that directory. Where /run forbids to execute programs, a file
// system of its own is mounted there. Returns nothing, or an error message.
std::optional<std::string> copy_programs(const std::string& cmd_lanfab);

// Removes the copies. A service may not unmount their file system: it stays, empty, until another process
// removes it.
void remove_programs();

// The command `lanfab revert` with an option, for a service: by the copy or, without one that works, by the
// installed program.
std::vector<std::string> revert_command_line(const std::string& option);

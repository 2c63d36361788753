#pragma once

// Where other programs are.

#include <optional>
#include <string>

// The absolute path of a program; nothing, with errno set, when there is none at `path`.
std::optional<std::string> absolute_program(const std::string& path);

// Looks along PATH, and then where the services are, which the PATH of an ordinary user may lack.
std::optional<std::string> find_in_path(const std::string& name);

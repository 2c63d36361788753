#pragma once

// Modification times of files, for comparison with the start time of a service.

#include <cstdint>
#include <string>

// Microseconds since 1970. Returns 0 if the file cannot be read, or if the time is in the future and thus
// meaningless: the clock has been set back.
std::int64_t modified_at(const std::string& path);

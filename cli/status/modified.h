#pragma once

// When files were changed, as far as that can be compared with the start of a service.

#include <cstdint>
#include <string>

// Microseconds since 1970; 0 for a file that cannot be read, and for a time in the future, which says
// nothing: the clock has been set back.
std::int64_t modified_at(const std::string& path);

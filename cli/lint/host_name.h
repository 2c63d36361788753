#pragma once

#include <string_view>

// Whether DNS allows the string as a host name: labels of letters, digits and hyphens, separated by dots.
bool is_host_name(std::string_view name);

#pragma once

#include <string_view>

// Whether DNS allows the name as that of a host: labels of letters, digits and hyphens between dots.
bool is_host_name(std::string_view name);

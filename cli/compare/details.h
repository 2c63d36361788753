#pragma once

// Short descriptions of an interface's settings.

#include <string>
#include <vector>

#include "cli/compare/facts.h"

// The settings of the interface, a phrase each: "192.168.50.1/24", "gateway 192.168.50.254", "DHCP .100 to
// .199", "the route to 10.20.0.0/16".
std::vector<std::string> details_of(const std::string& name, const Facts& facts);

// A DHCP range such as "192.168.1.100 to 192.168.1.199", or ".100 to .199" if the first three numbers of
// its addresses are those of the interface's address.
std::string range_in_words(const std::string& range, const std::string& address);

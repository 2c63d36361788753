#pragma once

// What comes with an interface, in a few words each.

#include <string>
#include <vector>

#include "cli/compare/facts.h"

// "192.168.50.1/24", "gateway 192.168.50.254", "DHCP .100 to .199", "the route to 10.20.0.0/16".
std::vector<std::string> details_of(const std::string& name, const Facts& facts);

// A DHCP range, without what its addresses share with the address of the interface: ".100 to .199".
std::string range_in_words(const std::string& range, const std::string& address);

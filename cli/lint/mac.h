#pragma once

// MAC addresses as dnsmasq reads them.

#include <optional>
#include <string>

// The normal form of a MAC address with six parts between colons: two lower-case digits for each part. A
// part may be "*", and the number of a hardware type may precede the address, as in "06-02:00:5e:00:53:*";
// the normal form omits the types of Ethernet and of any network. Nothing for any other string.
std::optional<std::string> normal_mac(const std::string& text);

// Whether the string is a MAC address without colons: "02-00-5e-00-53-01", "0200.5e00.5301", "02005e005301".
bool is_mac_without_colons(const std::string& text);

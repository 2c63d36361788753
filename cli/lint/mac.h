#pragma once

// MAC addresses as dnsmasq reads them.

#include <optional>
#include <string>

// An address of six parts between colons in its one spelling: two digits a part, lower case. A part may be
// "*", and the number of a hardware type may go before the address, as in "06-02:00:5e:00:53:*"; that of
// Ethernet and that of any are left out. Nothing for any other text.
std::optional<std::string> normal_mac(const std::string& text);

// Whether the text is an address without colons: "02-00-5e-00-53-01", "0200.5e00.5301", "02005e005301".
bool is_mac_without_colons(const std::string& text);

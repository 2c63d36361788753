#pragma once

// State of the cellular link, published by the link manager with one value per file. If a file is missing or
// empty, or a value is too long for its buffer, the string is empty: the value is not available.

#include <cstddef>

// Buffer size for a dotted IPv4 address.
inline constexpr std::size_t kIpv4TextSize = 16;

// Buffer size for the name of the cellular interface, for a prefix length and for an MTU.
inline constexpr std::size_t kWwanInterfaceTextSize = 8;
inline constexpr std::size_t kWwanPrefixTextSize = 4;
inline constexpr std::size_t kWwanMtuTextSize = 8;

// Each buffer has the size named above for its value.
void read_wwan_intf(char* buffer);
void read_wwan_cidr(char* buffer);
void read_wwan_mtu(char* buffer);

// Each buffer holds kIpv4TextSize bytes.
int read_wwan_ipv4(char* buffer);  // returns 0 if the file was read
void read_wwan_gw(char* buffer);
void read_wwan_netmask(char* buffer);
void read_wwan_dns1(char* buffer);
void read_wwan_dns2(char* buffer);

// Returns non-zero if the cellular data link is up according to the system database; 0 if that has no such
// value.
int is_cell_connected();

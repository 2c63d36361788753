#pragma once

// What the cellular link manager published about the link, one value per file. A missing or empty file, and a
// value too long for its buffer, leave an empty text: the value is not available.

#include <cstddef>

// Room for a dotted IPv4 address.
inline constexpr std::size_t kIpv4TextSize = 16;

// Room for the name of the cellular interface, for a prefix length and for an MTU.
inline constexpr std::size_t kWwanInterfaceTextSize = 8;
inline constexpr std::size_t kWwanPrefixTextSize = 4;
inline constexpr std::size_t kWwanMtuTextSize = 8;

// Each buffer has the size named above for its value.
void read_wwan_intf(char* buffer);
void read_wwan_cidr(char* buffer);
void read_wwan_mtu(char* buffer);

// Each buffer holds kIpv4TextSize bytes.
int read_wwan_ipv4(char* buffer);  // 0 when the file was read
void read_wwan_gw(char* buffer);
void read_wwan_netmask(char* buffer);
void read_wwan_dns1(char* buffer);
void read_wwan_dns2(char* buffer);

// Non-zero when the system database says that the cellular data link is up; 0 when it has no such value.
int is_cell_connected();

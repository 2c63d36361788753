#pragma once

// What the cellular link manager published about the link, one value a file. A missing or empty file, and a
// value too long for its buffer, leave an empty text: the value is not available.

#include <cstddef>

// Room for a dotted IPv4 address.
inline constexpr std::size_t kIpv4TextSize = 16;

inline constexpr char kWwanIpv4File[] = "/var/run/wwan_ipv4";
inline constexpr char kWwanGatewayFile[] = "/var/run/wwan_gw";
inline constexpr char kWwanNetmaskFile[] = "/var/run/wwan_netmask";
inline constexpr char kWwanDns1File[] = "/var/run/wwan_dns1";
inline constexpr char kWwanDns2File[] = "/var/run/wwan_dns2";

// Each buffer holds kIpv4TextSize bytes.
int read_wwan_ipv4(char* buffer);  // 0 when the file was read
void read_wwan_gw(char* buffer);
void read_wwan_netmask(char* buffer);
void read_wwan_dns1(char* buffer);
void read_wwan_dns2(char* buffer);

// Non-zero when the system database says that the cellular data link is up; 0 when it does not say.
int is_cell_connected();

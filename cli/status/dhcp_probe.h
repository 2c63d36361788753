#pragma once

// Finds the DHCP servers on a network.

#include <set>

#include "cli/status/packet_socket.h"

// An IPv4 packet with a DHCPDISCOVER message that requests a broadcast reply.
Bytes dhcp_discover(const EthernetAddress& own, std::uint32_t transaction);

// Address of the server that sent an IPv4 packet with a DHCPOFFER for this transaction; nothing for any other
// packet.
std::optional<Ipv4> dhcp_offer(const Packet& packet, std::uint32_t transaction);

// An exchange that sends a DHCPDISCOVER and receives offers until its time is over. `servers`, which must
// live as long as the exchange, gets the servers that reply, at most kMostServers. This machine's own server
// does not reply, since it does not receive the request.
inline constexpr std::size_t kMostServers = 8;
Exchange discover_dhcp(const EthernetInterface& interface, std::set<Ipv4>* servers);

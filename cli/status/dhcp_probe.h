#pragma once

// Finds the DHCP servers on a network.

#include <set>

#include "cli/status/packet_socket.h"

// An IPv4 packet with a DHCPDISCOVER that asks for an answer to all hosts.
Bytes dhcp_discover(const EthernetAddress& own, std::uint32_t transaction);

// The server that an IPv4 packet with a DHCPOFFER names; nothing for any other packet.
std::optional<Ipv4> dhcp_offer(const Packet& packet, std::uint32_t transaction);

// An exchange that ends only with its time. `servers`, which must live as long as the exchange, gets those
// that answer, at most kMostServers. This machine's own server does not: it does not get the request.
inline constexpr std::size_t kMostServers = 8;
Exchange ask_dhcp(const EthernetInterface& interface, std::set<Ipv4>* servers);

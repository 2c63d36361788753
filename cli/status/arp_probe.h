#pragma once

// Finds the host that has an IPv4 address, by ARP.

#include <optional>
#include <set>
#include <string>

#include "cli/status/packet_socket.h"

// An ARP request for `target`. `own` and `sender` are the MAC address and the IPv4 address of this machine;
// with 0 as `sender`, the packet is a probe as in RFC 5227, which changes no ARP cache.
Bytes arp_request(const EthernetAddress& own, Ipv4 sender, Ipv4 target);

// MAC address of the host whose ARP request or reply shows that it has the address `target`; nothing for any
// other packet.
std::optional<EthernetAddress> arp_owner(const Packet& packet, Ipv4 target);

// An exchange that sends an ARP request for `target`. `owner`, which must live as long as the exchange, is
// set to the MAC address of the host that has the address. Packets from the MAC addresses `own` are ignored:
// these are the ones of this machine, which replies through each of its interfaces.
Exchange query_arp(const EthernetInterface& interface, Ipv4 sender, Ipv4 target,
                   const std::set<EthernetAddress>& own, std::optional<EthernetAddress>* owner);

// "02:00:5e:00:53:01".
std::string to_text(const EthernetAddress& address);

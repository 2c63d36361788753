#pragma once

// Finds the host that has an IPv4 address.

#include <optional>
#include <set>
#include <string>

#include "cli/status/packet_socket.h"

// Asks who has `target`. `sender` is the own address; with 0 the packet is a probe of RFC 5227, by which no
// host learns anything.
Bytes arp_request(const EthernetAddress& own, Ipv4 sender, Ipv4 target);

// The host that shows, by a reply or a request, that it has the address; nothing for any other packet.
std::optional<EthernetAddress> arp_owner(const Packet& packet, Ipv4 target);

// An exchange that asks it. `owner`, which must live as long as the exchange, gets the host. The hosts `own`
// do not count: they are this machine's, which replies by each of its interfaces.
Exchange ask_arp(const EthernetInterface& interface, Ipv4 sender, Ipv4 target,
                 const std::set<EthernetAddress>& own, std::optional<EthernetAddress>* owner);

// "02:00:5e:00:53:01".
std::string to_text(const EthernetAddress& address);

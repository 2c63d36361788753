#pragma once

// Packets of one interface, with headers that the kernel neither makes nor reads.

#include <array>
#include <optional>
#include <string>

#include "cli/lint/ipv4.h"
#include "cli/status/exchange.h"

using EthernetAddress = std::array<unsigned char, 6>;

// An Ethernet interface that takes part in ARP.
struct EthernetInterface {
  int index = 0;
  EthernetAddress address = {};
};

// Nothing if the interface is missing, or of another kind.
std::optional<EthernetInterface> find_ethernet(const std::string& name);

// A socket for the packets of a protocol (ETH_P_ARP, ETH_P_IP); not open, with errno set, on failure.
// Requires root.
Descriptor open_packet_socket(const EthernetInterface& interface, int protocol);

// Sends the request of an exchange, whose socket is such a one, to all hosts of the interface.
void broadcast(const Exchange& exchange, const EthernetInterface& interface, int protocol);

#pragma once

// Sockets for the packets of one interface. The kernel neither writes nor reads headers above Ethernet.

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

// Finds an interface by its name; nothing if it is missing or of another kind.
std::optional<EthernetInterface> find_ethernet(const std::string& name);

// Opens a socket for the packets of a protocol (ETH_P_ARP, ETH_P_IP) on an interface. The result is not open,
// and errno is set, on failure. Requires root.
Descriptor open_packet_socket(const EthernetInterface& interface, int protocol);

// Sends the request of an exchange, which has a socket of open_packet_socket(), to all hosts of the
// interface's network.
void broadcast(const Exchange& exchange, const EthernetInterface& interface, int protocol);

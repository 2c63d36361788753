#pragma once

// Checks whether a host answers an ICMP echo request.

#include "cli/lint/ipv4.h"
#include "cli/status/exchange.h"

// An ICMP echo request.
Bytes echo_request(std::uint16_t id);

// Whether an IPv4 packet contains the reply to the echo request with this ID.
bool is_echo_reply(const Packet& packet, std::uint16_t id);

// An exchange that sends an echo request, through `interface` unless it is empty. The socket is not open if
// there is no route. Requires root.
Exchange ping_host(Ipv4 host, const std::string& interface = "");

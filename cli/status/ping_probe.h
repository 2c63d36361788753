#pragma once

// Whether a host answers an echo request.

#include "cli/lint/ipv4.h"
#include "cli/status/exchange.h"

// An ICMP echo request.
Bytes echo_request(std::uint16_t id);

// Whether an IPv4 packet has the reply to the request of this ID.
bool is_echo_reply(const Packet& packet, std::uint16_t id);

// The exchange; its socket is not open if there is no route. Requires root. With the name of an interface,
// the request leaves by that one.
Exchange ask_echo(Ipv4 host, const std::string& interface = "");

#pragma once

// Queries to DNS servers.

#include <optional>
#include <string>

#include "cli/lint/ipv4.h"
#include "cli/status/exchange.h"

enum class DnsType { kAddress = 1, kNameServer = 2 };

// A DNS query with this ID. `name` has no dot at its end; an empty name is the root.
Bytes dns_query(std::uint32_t id, const std::string& name, DnsType type);

// Response code (0: no error) if the packet is a response to the query; nothing for any other packet.
std::optional<int> response_code(const Packet& packet, const Bytes& query);

// An exchange that sends a query to a server. `code`, which must live as long as the exchange, is set to the
// response code. The socket is not open if there is no route to the server.
Exchange query_dns(Ipv4 server, const std::string& name, DnsType type, std::optional<int>* code);

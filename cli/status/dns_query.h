#pragma once

// Queries to DNS servers.

#include <optional>
#include <string>

#include "cli/lint/ipv4.h"
#include "cli/status/exchange.h"

enum class DnsType { kAddress = 1, kNameServer = 2 };

// A query with this ID for a name without a dot at its end; empty, it is the root of all names.
Bytes dns_query(std::uint32_t id, const std::string& name, DnsType type);

// The response code (0: no error) if the packet responds to the query; otherwise nothing.
std::optional<int> response_code(const Packet& packet, const Bytes& query);

// A query to a server. `code`, which must live as long as the exchange, gets the response code. The socket is
// not open if there is no route to the server.
Exchange ask_dns(Ipv4 server, const std::string& name, DnsType type, std::optional<int>* code);

#include "cli/status/dns_query.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <sstream>

constexpr std::size_t kHeaderSize = 12;
constexpr std::uint32_t kRecursionDesired = 0x0100;
constexpr std::uint32_t kResponse = 0x8000;
constexpr std::uint32_t kInternet = 1;
constexpr std::uint16_t kDnsPort = 53;

Bytes dns_query(std::uint32_t id, const std::string& name, DnsType type) {
  Bytes query;
  append_number(query, id, 2);
  append_number(query, kRecursionDesired, 2);
  for (const std::uint32_t records : {1U, 0U, 0U, 0U})
    append_number(query, records, 2);
  std::istringstream labels(name);
  for (std::string label; std::getline(labels, label, '.');) {
    append_number(query, static_cast<std::uint32_t>(label.size()), 1);
    query.insert(query.end(), label.begin(), label.end());
  }
  append_number(query, 0, 1);
  append_number(query, static_cast<std::uint32_t>(type), 2);
  append_number(query, kInternet, 2);
  return query;
}

std::optional<int> response_code(const Packet& packet, const Bytes& query) {
  const auto flags = number_at(packet, 2, 2);
  const auto questions = number_at(packet, 4, 2);
  if (!has_bytes(packet, 0, Bytes(query.begin(), query.begin() + 2)) || !questions) return std::nullopt;
  if ((*flags & kResponse) == 0) return std::nullopt;
  const int code = static_cast<int>(*flags & 0xf);
  // A server that could not parse the query does not repeat it in its response.
  const bool is_repeated = has_bytes(packet, kHeaderSize, Bytes(query.begin() + kHeaderSize, query.end()));
  if (!is_repeated && (*questions != 0 || code == 0)) return std::nullopt;
  return code;
}

Exchange query_dns(Ipv4 server, const std::string& name, DnsType type, std::optional<int>* code) {
  Exchange exchange;
  exchange.request = dns_query(random_number() & 0xffff, name, type);
  exchange.is_answer = [query = exchange.request, code](const Packet& packet) {
    *code = response_code(packet, query);
    return code->has_value();
  };
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kDnsPort);
  address.sin_addr.s_addr = htonl(server);
  // A connected socket only receives packets from this server.
  Descriptor connected(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (connect(connected.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
    exchange.socket = std::move(connected);
  return exchange;
}

#include "cli/status/ping_probe.h"

#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <sys/socket.h>

#include <utility>

constexpr std::size_t kLeastIpHeader = 20;

Bytes echo_request(std::uint16_t id) {
  const auto message = [id](std::uint32_t checksum) {
    Bytes bytes;
    append_number(bytes, ICMP_ECHO << 8, 2);
    append_number(bytes, checksum, 2);
    append_number(bytes, id, 2);
    append_number(bytes, 1, 2);
    return bytes;
  };
  return message(internet_checksum(message(0)));
}

bool is_echo_reply(const Packet& packet, std::uint16_t id) {
  const auto first = number_at(packet, 0, 1);
  const std::size_t header = first ? 4UL * (*first & 0xf) : 0;
  if (header < kLeastIpHeader) return false;
  const Packet message = rest_of(packet, header);
  return number_at(message, 0, 1) == ICMP_ECHOREPLY && number_at(message, 4, 2) == id;
}

Exchange ping_host(Ipv4 host, const std::string& interface) {
  const auto id = static_cast<std::uint16_t>(random_number());
  Exchange exchange;
  exchange.request = echo_request(id);
  exchange.is_answer = [id](const Packet& packet) { return is_echo_reply(packet, id); };
  Descriptor opened(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP));
  if (!interface.empty()) {
    setsockopt(opened.number(), SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(),
               static_cast<socklen_t>(interface.size()));
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(host);
  // A connected socket only receives packets from this host.
  if (connect(opened.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
    exchange.socket = std::move(opened);
  return exchange;
}

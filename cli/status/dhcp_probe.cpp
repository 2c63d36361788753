#include "cli/status/dhcp_probe.h"

#include <linux/filter.h>
#include <net/ethernet.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/socket.h>

constexpr std::uint16_t kServerPort = 67;
constexpr std::uint16_t kClientPort = 68;
constexpr std::size_t kIpHeaderSize = 20;
constexpr std::size_t kUdpHeaderSize = 8;
constexpr std::uint32_t kVersionAndSize = 0x45;
constexpr std::uint32_t kTimeToLive = 64;
constexpr Ipv4 kBroadcastMac = 0xffffffff;

// Offsets and values of the fields of a DHCP message, RFC 2131.
constexpr std::size_t kTransactionOffset = 4;
constexpr std::size_t kCookieOffset = 236;
constexpr std::size_t kOptionsOffset = 240;
constexpr std::uint32_t kCookie = 0x63825363;
constexpr std::uint32_t kRequest = 1;
constexpr std::uint32_t kReply = 2;
constexpr std::uint32_t kToAllHosts = 0x8000;
constexpr unsigned char kPad = 0;
constexpr unsigned char kMessageType = 53;
constexpr unsigned char kServer = 54;
constexpr unsigned char kEndOfOptions = 255;
constexpr unsigned char kDiscover = 1;
constexpr unsigned char kOffer = 2;

static void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

static Bytes discover_message(const EthernetAddress& own, std::uint32_t transaction) {
  Bytes message;
  append_number(message, kRequest, 1);
  append_number(message, ARPHRD_ETHER, 1);
  append_number(message, ETH_ALEN, 1);
  append_number(message, 0, 1);
  append_number(message, transaction, 4);
  append_number(message, kToAllHosts, 4);
  message.resize(message.size() + 4 * sizeof(Ipv4));
  message.insert(message.end(), own.begin(), own.end());
  message.resize(kCookieOffset);
  append_number(message, kCookie, 4);
  append(message, {kMessageType, 1, kDiscover, kEndOfOptions});
  // Some servers ignore shorter messages.
  message.resize(300);
  return message;
}

static Bytes ip_header(std::size_t payload) {
  const auto header = [payload](std::uint32_t checksum) {
    Bytes bytes;
    append_number(bytes, kVersionAndSize << 8, 2);
    append_number(bytes, static_cast<std::uint32_t>(kIpHeaderSize + payload), 2);
    append_number(bytes, 0, 4);
    append_number(bytes, kTimeToLive << 8 | IPPROTO_UDP, 2);
    append_number(bytes, checksum, 2);
    append_number(bytes, 0, 4);
    append_number(bytes, kBroadcastMac, 4);
    return bytes;
  };
  return header(internet_checksum(header(0)));
}

Bytes dhcp_discover(const EthernetAddress& own, std::uint32_t transaction) {
  const Bytes message = discover_message(own, transaction);
  const std::size_t size = kUdpHeaderSize + message.size();
  Bytes packet = ip_header(size);
  append_number(packet, kClientPort, 2);
  append_number(packet, kServerPort, 2);
  append_number(packet, static_cast<std::uint32_t>(size), 2);
  // No checksum, which UDP over IPv4 allows.
  append_number(packet, 0, 2);
  append(packet, message);
  return packet;
}

// Payload of a UDP packet to DHCP clients; empty for any other packet.
static Packet client_message(const Packet& packet) {
  const auto first = number_at(packet, 0, 1);
  const std::size_t header = first && *first >> 4 == 4 ? 4UL * (*first & 0xf) : 0;
  if (header < kIpHeaderSize || number_at(packet, 9, 1) != IPPROTO_UDP) return {nullptr, 0};
  const Packet datagram = rest_of(packet, header);
  if (number_at(datagram, 2, 2) != kClientPort) return {nullptr, 0};
  return rest_of(datagram, kUdpHeaderSize);
}

// Value of the option `code` with a length of `bytes`; nothing if there is none.
static std::optional<std::uint32_t> option(const Packet& message, unsigned char code, std::size_t bytes) {
  std::size_t offset = kOptionsOffset;
  while (const auto found = number_at(message, offset, 1)) {
    if (*found == kEndOfOptions) break;
    const auto size = *found == kPad ? std::nullopt : number_at(message, offset + 1, 1);
    if (*found == code && size == bytes) return number_at(message, offset + 2, bytes);
    offset += *found == kPad ? 1 : 2 + static_cast<std::size_t>(size.value_or(0));
  }
  return std::nullopt;
}

std::optional<Ipv4> dhcp_offer(const Packet& packet, std::uint32_t transaction) {
  const Packet message = client_message(packet);
  if (number_at(message, 0, 1) != kReply || number_at(message, kTransactionOffset, 4) != transaction)
    return std::nullopt;
  if (number_at(message, kCookieOffset, 4) != kCookie || option(message, kMessageType, 1) != kOffer)
    return std::nullopt;
  return option(message, kServer, 4);
}

// Makes the socket receive only UDP packets to DHCP clients, since there may be many others.
static void filter_packets(int socket) {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 9),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 4),
      BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0),
      BPF_STMT(BPF_LD | BPF_H | BPF_IND, 2),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kClientPort, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, 0xffff),
      BPF_STMT(BPF_RET | BPF_K, 0),
  };
  const sock_fprog program = {sizeof filter / sizeof *filter, filter};
  setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

Exchange discover_dhcp(const EthernetInterface& interface, std::set<Ipv4>* servers) {
  const std::uint32_t transaction = random_number();
  Exchange exchange;
  exchange.socket = open_packet_socket(interface, ETH_P_IP);
  filter_packets(exchange.socket.number());
  exchange.request = dhcp_discover(interface.address, transaction);
  exchange.send = [interface](const Exchange& self) { broadcast(self, interface, ETH_P_IP); };
  exchange.is_answer = [=](const Packet& packet) {
    const auto server = dhcp_offer(packet, transaction);
    if (server && servers->size() < kMostServers) servers->insert(*server);
    return false;
  };
  return exchange;
}

#include "cli/status/arp_probe.h"

#include <net/ethernet.h>
#include <net/if_arp.h>

#include <algorithm>
#include <cstdio>

// Lengths of a MAC address and of an IPv4 address, in two bytes of the header.
constexpr std::uint32_t kSizes = ETH_ALEN << 8 | 4;
constexpr std::size_t kOperationOffset = 6;
constexpr std::size_t kSenderOffset = 8;
constexpr std::size_t kSenderIpOffset = 14;

static Bytes arp_head() {
  Bytes head;
  append_number(head, ARPHRD_ETHER, 2);
  append_number(head, ETHERTYPE_IP, 2);
  append_number(head, kSizes, 2);
  return head;
}

Bytes arp_request(const EthernetAddress& own, Ipv4 sender, Ipv4 target) {
  Bytes request = arp_head();
  append_number(request, ARPOP_REQUEST, 2);
  request.insert(request.end(), own.begin(), own.end());
  append_number(request, sender, 4);
  request.insert(request.end(), ETH_ALEN, 0);
  append_number(request, target, 4);
  return request;
}

std::optional<EthernetAddress> arp_owner(const Packet& packet, Ipv4 target) {
  const auto operation = number_at(packet, kOperationOffset, 2);
  if (!has_bytes(packet, 0, arp_head()) || (operation != ARPOP_REQUEST && operation != ARPOP_REPLY))
    return std::nullopt;
  if (number_at(packet, kSenderIpOffset, 4) != target) return std::nullopt;
  EthernetAddress owner;
  std::copy_n(packet.data + kSenderOffset, owner.size(), owner.begin());
  return owner;
}

Exchange query_arp(const EthernetInterface& interface, Ipv4 sender, Ipv4 target,
                   const std::set<EthernetAddress>& own, std::optional<EthernetAddress>* owner) {
  Exchange exchange;
  exchange.socket = open_packet_socket(interface, ETH_P_ARP);
  exchange.request = arp_request(interface.address, sender, target);
  exchange.send = [interface](const Exchange& self) { broadcast(self, interface, ETH_P_ARP); };
  exchange.is_answer = [=](const Packet& packet) {
    const auto found = arp_owner(packet, target);
    if (!found || own.count(*found) != 0) return false;
    *owner = found;
    return true;
  };
  return exchange;
}

std::string to_text(const EthernetAddress& address) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2],
                address[3], address[4], address[5]);
  return text;
}

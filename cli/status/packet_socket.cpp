#include "cli/status/packet_socket.h"

#include <net/ethernet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

static sockaddr_ll link_address(const EthernetInterface& interface, int protocol) {
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(static_cast<std::uint16_t>(protocol));
  address.sll_ifindex = interface.index;
  return address;
}

std::optional<EthernetInterface> find_ethernet(const std::string& name) {
  const Descriptor control(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq query{};
  if (name.size() >= sizeof query.ifr_name) return std::nullopt;
  std::copy(name.begin(), name.end(), query.ifr_name);
  if (ioctl(control.number(), SIOCGIFHWADDR, &query) != 0 || query.ifr_hwaddr.sa_family != ARPHRD_ETHER)
    return std::nullopt;
  EthernetInterface interface;
  std::memcpy(interface.address.data(), query.ifr_hwaddr.sa_data, interface.address.size());
  query.ifr_flags = 0;
  ioctl(control.number(), SIOCGIFFLAGS, &query);
  if ((query.ifr_flags & IFF_NOARP) != 0) return std::nullopt;
  // 0 if the interface was removed meanwhile; nothing can be sent to that.
  interface.index = static_cast<int>(if_nametoindex(name.c_str()));
  return interface;
}

Descriptor open_packet_socket(const EthernetInterface& interface, int protocol) {
  // With protocol 0, the socket receives nothing before it is bound to the interface.
  Descriptor opened(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_ll address = link_address(interface, protocol);
  const bool is_bound =
      bind(opened.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return is_bound ? std::move(opened) : Descriptor();
}

void broadcast(const Exchange& exchange, const EthernetInterface& interface, int protocol) {
  sockaddr_ll address = link_address(interface, protocol);
  address.sll_halen = ETH_ALEN;
  std::memset(address.sll_addr, 0xff, ETH_ALEN);
  sendto(exchange.socket.number(), exchange.request.data(), exchange.request.size(), MSG_DONTWAIT,
         reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

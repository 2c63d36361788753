#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "platform/libvantor.h"
#include "report.h"

using MacAddress = std::array<unsigned char, 6>;

// Queries the MAC address from the kernel. Returns false if the interface does not exist or has no Ethernet
// address.
static bool query_mac_address(const char* ifname, MacAddress& address) {
  ifreq request{};
  const std::size_t length = std::strlen(ifname);
  if (length >= sizeof request.ifr_name) return false;
  std::memcpy(request.ifr_name, ifname, length);
  const int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int result = sock < 0 ? -1 : ioctl(sock, SIOCGIFHWADDR, &request);
  if (result != 0 && errno != ENODEV) report_failure("read the hardware address of", ifname, errno);
  if (sock >= 0) close(sock);
  if (result != 0 || request.ifr_hwaddr.sa_family != ARPHRD_ETHER) return false;
  std::memcpy(address.data(), request.ifr_hwaddr.sa_data, address.size());
  return true;
}

// Writes the six bytes as lowercase hexadecimal digits with `separator` between them.
static int write_mac_address(const char* ifname, const char* separator, char* buffer, std::size_t size) {
  buffer[0] = '\0';
  MacAddress address{};
  if (!query_mac_address(ifname, address)) return -1;
  std::snprintf(buffer, size, "%02x%s%02x%s%02x%s%02x%s%02x%s%02x", address[0], separator, address[1],
                separator, address[2], separator, address[3], separator, address[4], separator, address[5]);
  return 0;
}

int get_if_hw_addr(const char* ifname, char* buffer) {
  return write_mac_address(ifname, "", buffer, 16);
}

int get_if_hw_addr_formatted(const char* ifname, char* buffer) {
  return write_mac_address(ifname, ":", buffer, 18);
}

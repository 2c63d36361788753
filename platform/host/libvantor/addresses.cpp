#include <arpa/inet.h>

#include <cstdint>
#include <cstdio>

#include "platform/libvantor.h"

constexpr int kMaxPrefix = 32;
constexpr std::size_t kSubnetSize = 24;

static bool is_prefix(int prefix) {
  return prefix >= 0 && prefix <= kMaxPrefix;
}

// Returns the netmask of a valid prefix length, in host byte order.
static std::uint32_t mask_bits(int prefix) {
  return prefix == 0 ? 0 : UINT32_MAX << (kMaxPrefix - prefix);
}

char* cidr_to_netmask(int prefix, char* buffer) {
  buffer[0] = '\0';
  if (!is_prefix(prefix)) return buffer;
  const in_addr mask{htonl(mask_bits(prefix))};
  inet_ntop(AF_INET, &mask, buffer, INET_ADDRSTRLEN);
  return buffer;
}

int netmask_to_cidr(const char* netmask) {
  in_addr mask{};
  if (inet_pton(AF_INET, netmask, &mask) != 1) return -1;
  for (int prefix = 0; prefix <= kMaxPrefix; ++prefix) {
    if (mask_bits(prefix) == ntohl(mask.s_addr)) return prefix;
  }
  return -1;
}

int get_cidr_subnet(const char* address, int prefix, char* buffer) {
  buffer[0] = '\0';
  in_addr host{};
  if (!is_prefix(prefix) || inet_pton(AF_INET, address, &host) != 1) return -1;
  const std::uint32_t network = ntohl(host.s_addr) & mask_bits(prefix);
  std::snprintf(buffer, kSubnetSize, "%u.%u.%u.%u/%d", network >> 24, network >> 16 & 0xff,
                network >> 8 & 0xff, network & 0xff, prefix);
  return 0;
}

#include <arpa/inet.h>
#include <netdb.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/libvantor.h"

namespace {

struct FreeAddresses {
  void operator()(addrinfo* addresses) const {
    freeaddrinfo(addresses);
  }
};

}  // namespace

// The first IPv4 address of `name`; a dotted address is its own answer.
static bool resolve(const char* name, in_addr& address) {
  if (inet_pton(AF_INET, name, &address) == 1) return true;
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &found) != 0) return false;
  const std::unique_ptr<addrinfo, FreeAddresses> owner(found);
  address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  return true;
}

int domain_ip_to_ip_str(const char* name, char* buffer, int size, int, int) {
  buffer[0] = '\0';
  in_addr address{};
  if (!resolve(name, address)) return -1;
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &address, text, sizeof text);
  const std::size_t length = std::strlen(text);
  if (size < 0 || length > static_cast<std::size_t>(size)) return -1;
  std::memcpy(buffer, text, length + 1);
  return 0;
}

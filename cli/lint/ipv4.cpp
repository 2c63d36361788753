#include "cli/lint/ipv4.h"

#include <arpa/inet.h>

#include <algorithm>
#include <iterator>

std::optional<Ipv4> parse_ipv4(const std::string& text) {
  in_addr address{};
  // inet_pton would ignore everything after a zero byte.
  if (text.find('\0') != std::string::npos || inet_pton(AF_INET, text.c_str(), &address) != 1) {
    return std::nullopt;
  }
  return ntohl(address.s_addr);
}

std::string to_text(Ipv4 address) {
  char text[INET_ADDRSTRLEN] = "";
  const in_addr network_order{htonl(address)};
  inet_ntop(AF_INET, &network_order, text, sizeof text);
  return text;
}

static Ipv4 netmask(int prefix) {
  return prefix == 0 ? 0 : ~Ipv4{0} << (32 - prefix);
}

Ipv4 Subnet::broadcast() const {
  return address | ~netmask(prefix);
}

bool Subnet::contains(Ipv4 other) const {
  return (other & netmask(prefix)) == address;
}

bool Subnet::overlaps(const Subnet& other) const {
  return contains(other.address) || other.contains(address);
}

bool Subnet::has_host(Ipv4 other) const {
  return contains(other) && (prefix > 30 || (other != address && other != broadcast()));
}

std::string to_text(const Subnet& subnet) {
  return to_text(subnet.address) + "/" + std::to_string(subnet.prefix);
}

std::string obstacle(const Subnet& subnet, Ipv4 address) {
  if (!subnet.contains(address)) return to_text(address) + " is outside " + to_text(subnet);
  const char* kind = address == subnet.address ? "network" : "broadcast";
  return to_text(address) + " is the " + kind + " address of " + to_text(subnet);
}

std::optional<Subnet> subnet_with(Ipv4 address, int prefix) {
  if (prefix < 0 || prefix > 32) return std::nullopt;
  return Subnet{address & netmask(prefix), prefix};
}

std::optional<Subnet> parse_subnet(const std::string& address, int prefix) {
  const std::optional<Ipv4> parsed = parse_ipv4(address);
  return parsed ? subnet_with(*parsed, prefix) : std::nullopt;
}

int prefix_of_class(Ipv4 address) {
  constexpr Ipv4 kFirstOfClassB = 128;
  constexpr Ipv4 kFirstOfClassC = 192;
  const Ipv4 first_byte = address >> 24;
  return first_byte < kFirstOfClassB ? 8 : first_byte < kFirstOfClassC ? 16 : 24;
}

bool is_private(Ipv4 address) {
  constexpr Subnet kPrivate[] = {
      {0x0a000000, 8},   // 10.0.0.0
      {0x64400000, 10},  // 100.64.0.0, shared by providers
      {0xa9fe0000, 16},  // 169.254.0.0, link-local
      {0xac100000, 12},  // 172.16.0.0
      {0xc0a80000, 16},  // 192.168.0.0
  };
  return std::any_of(std::begin(kPrivate), std::end(kPrivate),
                     [address](const Subnet& subnet) { return subnet.contains(address); });
}

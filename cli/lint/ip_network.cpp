#include "cli/lint/ip_network.h"

#include <arpa/inet.h>

#include <algorithm>
#include <tuple>

// The mask of the byte at `index` of an address with this prefix length.
static std::uint8_t mask_of(int prefix, std::size_t index) {
  const int bits = std::clamp(prefix - static_cast<int>(index) * 8, 0, 8);
  return static_cast<std::uint8_t>(0xff00 >> bits);
}

static bool begin_alike(const IpNetwork& a, const IpNetwork& b, int prefix) {
  for (std::size_t index = 0; index < a.address.size(); ++index) {
    if (((a.address[index] ^ b.address[index]) & mask_of(prefix, index)) != 0) return false;
  }
  return true;
}

bool IpNetwork::contains(const IpNetwork& other) const {
  return is_ipv6 == other.is_ipv6 && prefix <= other.prefix && begin_alike(*this, other, prefix);
}

bool IpNetwork::is_same(const IpNetwork& other) const {
  return prefix == other.prefix && contains(other);
}

IpNetwork IpNetwork::masked() const {
  IpNetwork network = *this;
  for (std::size_t index = 0; index < address.size(); ++index)
    network.address[index] &= mask_of(prefix, index);
  return network;
}

std::optional<Subnet> IpNetwork::ipv4() const {
  if (is_ipv6) return std::nullopt;
  const Ipv4 number = Ipv4{address[0]} << 24 | Ipv4{address[1]} << 16 | Ipv4{address[2]} << 8 | address[3];
  return subnet_with(number, prefix);
}

bool operator<(const IpNetwork& a, const IpNetwork& b) {
  return std::tie(a.is_ipv6, a.address, a.prefix) < std::tie(b.is_ipv6, b.address, b.prefix);
}

std::string to_text(const IpNetwork& network) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(network.is_ipv6 ? AF_INET6 : AF_INET, network.address.data(), text, sizeof text);
  return std::string(text) + "/" + std::to_string(network.prefix);
}

std::optional<int> parse_number(std::string_view text, int most) {
  constexpr std::size_t kMaxDigits = 5;
  const bool is_number = !text.empty() && text.size() <= kMaxDigits &&
                         text.find_first_not_of("0123456789") == std::string_view::npos;
  if (!is_number) return std::nullopt;
  const int number = std::stoi(std::string(text));
  return number <= most ? std::optional(number) : std::nullopt;
}

std::optional<IpNetwork> parse_ip_network(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::string address = text.substr(0, slash);
  // inet_pton would ignore everything after a zero byte.
  if (address.find('\0') != std::string::npos) return std::nullopt;
  IpNetwork network{};
  network.is_ipv6 = address.find(':') != std::string::npos;
  if (inet_pton(network.is_ipv6 ? AF_INET6 : AF_INET, address.c_str(), network.address.data()) != 1)
    return std::nullopt;
  const int bits = network.is_ipv6 ? 128 : 32;
  const std::optional<int> prefix =
      slash == std::string::npos ? bits : parse_number(std::string_view(text).substr(slash + 1), bits);
  if (!prefix) return std::nullopt;
  network.prefix = static_cast<std::uint8_t>(*prefix);
  return network;
}

bool is_ip_address(const std::string& text) {
  return text.find('/') == std::string::npos && parse_ip_network(text).has_value();
}

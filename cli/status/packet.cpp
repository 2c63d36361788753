#include "cli/status/packet.h"

#include <algorithm>
#include <random>

static bool is_inside(const Packet& packet, std::size_t offset, std::size_t bytes) {
  return offset <= packet.size && bytes <= packet.size - offset;
}

std::optional<std::uint32_t> number_at(const Packet& packet, std::size_t offset, std::size_t bytes) {
  if (!is_inside(packet, offset, bytes)) return std::nullopt;
  std::uint32_t number = 0;
  for (std::size_t index = offset; index < offset + bytes; ++index)
    number = number << 8 | packet.data[index];
  return number;
}

bool has_bytes(const Packet& packet, std::size_t offset, const Bytes& bytes) {
  return is_inside(packet, offset, bytes.size()) &&
         std::equal(bytes.begin(), bytes.end(), packet.data + offset);
}

Packet rest_of(const Packet& packet, std::size_t offset) {
  const std::size_t first = std::min(offset, packet.size);
  return {packet.data + first, packet.size - first};
}

void append_number(Bytes& bytes, std::uint32_t number, std::size_t size) {
  for (std::size_t left = size; left-- > 0;)
    bytes.push_back(static_cast<unsigned char>(number >> (8 * left)));
}

std::uint16_t internet_checksum(const Bytes& bytes) {
  std::uint32_t sum = 0;
  for (std::size_t index = 0; index < bytes.size(); ++index)
    sum += index % 2 == 0 ? static_cast<std::uint32_t>(bytes[index]) << 8 : bytes[index];
  while (sum > 0xffff)
    sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<std::uint16_t>(~sum);
}

std::uint32_t random_number() {
  std::random_device device;
  return device();
}

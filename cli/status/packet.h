#pragma once

// Packets that other hosts have sent: whatever they hold, nothing beyond their end is read.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

using Bytes = std::vector<unsigned char>;

struct Packet {
  const unsigned char* data;
  std::size_t size;
};

// A number of 1 to 4 bytes in network byte order; nothing if it is not all in the packet.
std::optional<std::uint32_t> number_at(const Packet& packet, std::size_t offset, std::size_t bytes);

// Whether the packet has these bytes there.
bool has_bytes(const Packet& packet, std::size_t offset, const Bytes& bytes);

// What follows the first bytes; empty if the packet is not longer.
Packet rest_of(const Packet& packet, std::size_t offset);

// Appends a number of 1 to 4 bytes in network byte order.
void append_number(Bytes& bytes, std::uint32_t number, std::size_t size);

// The checksum of IP, ICMP and UDP.
std::uint16_t internet_checksum(const Bytes& bytes);

// A number that other hosts cannot guess.
std::uint32_t random_number();

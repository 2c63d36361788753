#pragma once

// Reading and writing packets. Packets of other hosts may contain anything; nothing beyond their end is read.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

using Bytes = std::vector<unsigned char>;

struct Packet {
  const unsigned char* data;
  std::size_t size;
};

// Reads a number of 1 to 4 bytes in network byte order; nothing if the packet ends before its last byte.
std::optional<std::uint32_t> number_at(const Packet& packet, std::size_t offset, std::size_t bytes);

// Whether the packet contains these bytes at `offset`.
bool has_bytes(const Packet& packet, std::size_t offset, const Bytes& bytes);

// The packet without its first `offset` bytes; empty if it is not longer.
Packet rest_of(const Packet& packet, std::size_t offset);

// Appends a number of 1 to 4 bytes in network byte order.
void append_number(Bytes& bytes, std::uint32_t number, std::size_t size);

// Checksum of IP, ICMP and UDP.
std::uint16_t internet_checksum(const Bytes& bytes);

// A number that other hosts cannot guess.
std::uint32_t random_number();

#pragma once

// Builds DHCPOFFER packets.

#include <cstdint>
#include <vector>

// Returns an IPv4 packet with these options, here from the server 192.168.1.253; nothing follows the options.
inline std::vector<unsigned char> offer_of(std::uint32_t transaction,
                                           const std::vector<unsigned char>& options = {53, 1, 2, 54, 4, 192,
                                                                                        168, 1, 253}) {
  std::vector<unsigned char> packet(20 + 8 + 236);
  packet[0] = 0x45;
  packet[9] = 17;   // UDP
  packet[21] = 67;  // from a server's port to a client's
  packet[23] = 68;
  packet[28] = 2;  // a reply
  for (unsigned index = 0; index < 4; ++index)
    packet[32 + index] = static_cast<unsigned char>(transaction >> (24 - 8 * index));
  packet.insert(packet.end(), {99, 130, 83, 99});
  packet.insert(packet.end(), options.begin(), options.end());
  return packet;
}

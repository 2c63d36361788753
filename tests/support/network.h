#pragma once

// The sandbox's network and hosts in it, for tests of code that sends packets.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

inline void set_interface(unsigned long request, const char* interface, ifreq change) {
  const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  std::strncpy(change.ifr_name, interface, IFNAMSIZ - 1);
  EXPECT_EQ(ioctl(control, request, &change), 0) << interface << ": " << std::strerror(errno);
  close(control);
}

inline sockaddr_in internet_address(const char* address, std::uint16_t port = 0) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  inet_pton(AF_INET, address, &result.sin_addr);
  return result;
}

inline void set_interface_up(const char* interface) {
  ifreq change{};
  change.ifr_flags = IFF_UP;
  set_interface(SIOCSIFFLAGS, interface, change);
}

// Sets the address of the interface, with the prefix length of its class, and sets the interface up.
inline void set_interface_address(const char* interface, const char* address) {
  ifreq change{};
  const sockaddr_in own = internet_address(address);
  std::memcpy(&change.ifr_addr, &own, sizeof own);
  set_interface(SIOCSIFADDR, interface, change);
  set_interface_up(interface);
}

// A host that answers the packets to a socket until it is destroyed.
class Responder {
 public:
  using Bytes = std::vector<unsigned char>;
  // Returns the replies to a packet.
  using Answer = std::function<std::vector<Bytes>(const Bytes&)>;

  Responder(int number, Answer answer)
      : socket_(number), answer_(std::move(answer)), thread_([this] { serve(); }) {}
  Responder(const Responder&) = delete;
  Responder& operator=(const Responder&) = delete;
  ~Responder() {
    is_ending_ = true;
    thread_.join();
    close(socket_);
  }

  // Returns the number of packets received.
  int count() const {
    return count_;
  }

 private:
  void serve() {
    pollfd waiting{socket_, POLLIN, 0};
    while (!is_ending_) {
      if (poll(&waiting, 1, 10) > 0) answer();
    }
  }

  void answer() {
    std::array<unsigned char, 2048> buffer;
    sockaddr_storage from{};
    socklen_t size = sizeof from;
    const ssize_t length =
        recvfrom(socket_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (length < 0) return;
    ++count_;
    for (const Bytes& packet : answer_(Bytes(buffer.begin(), buffer.begin() + length)))
      sendto(socket_, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&from), size);
  }

  int socket_;
  Answer answer_;
  std::atomic<int> count_ = 0;
  std::atomic<bool> is_ending_ = false;
  std::thread thread_;
};

// Opens a UDP socket at the address.
inline int udp_socket(const char* address, std::uint16_t port) {
  const int number = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_in own = internet_address(address, port);
  EXPECT_EQ(bind(number, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0) << std::strerror(errno);
  return number;
}

#include "cli/status/exchange.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>

// Size of an Ethernet frame with jumbo payload; larger packets are truncated.
constexpr std::size_t kLargestPacket = 9216;
// Time after which a request is sent again.
constexpr int kPauseMs = 400;
// Packets that are read from one socket before the next socket is read.
constexpr int kPacketsInARow = 64;

using Clock = std::chrono::steady_clock;

static void send_request(const Exchange& exchange) {
  if (exchange.send) {
    exchange.send(exchange);
  } else {
    // An error is ignored: a request that cannot be sent is not answered.
    send(exchange.socket.number(), exchange.request.data(), exchange.request.size(),
         MSG_DONTWAIT | MSG_NOSIGNAL);
  }
}

static bool is_open(const Exchange& exchange) {
  return exchange.socket.is_open() && !exchange.is_answered;
}

static void read_answers(Exchange& exchange) {
  std::array<unsigned char, kLargestPacket> buffer;
  for (int count = 0; count < kPacketsInARow && !exchange.is_answered; ++count) {
    const ssize_t size = recv(exchange.socket.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size < 0) return;
    exchange.is_answered = exchange.is_answer({buffer.data(), static_cast<std::size_t>(size)});
  }
}

// Reads answers until `end`, or until all exchanges are answered.
static void read_until(Clock::time_point end, std::vector<Exchange>& exchanges) {
  while (std::any_of(exchanges.begin(), exchanges.end(), is_open)) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return;
    std::vector<pollfd> sockets;
    sockets.reserve(exchanges.size());
    for (const Exchange& exchange : exchanges)
      sockets.push_back({is_open(exchange) ? exchange.socket.number() : -1, POLLIN, 0});
    if (poll(sockets.data(), sockets.size(), static_cast<int>(left)) <= 0) continue;
    for (std::size_t index = 0; index < sockets.size(); ++index)
      if (sockets[index].revents != 0) read_answers(exchanges[index]);
  }
}

void run_exchanges(std::vector<Exchange>& exchanges, int milliseconds) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (Clock::now() < end && std::any_of(exchanges.begin(), exchanges.end(), is_open)) {
    for (const Exchange& exchange : exchanges)
      if (is_open(exchange)) send_request(exchange);
    read_until(std::min(end, Clock::now() + std::chrono::milliseconds(kPauseMs)), exchanges);
  }
}

#pragma once

// Requests to hosts by packets, all at the same time.

#include <functional>
#include <vector>

#include "cli/base/file.h"
#include "cli/status/packet.h"

// A request that is sent by a socket, and how its answer is recognized.
struct Exchange {
  Descriptor socket;  // not open: it is not asked
  Bytes request;
  // Whether the packet, which anybody may have sent, answers the request. It is called for each packet until
  // it returns true.
  std::function<bool(const Packet&)> is_answer;
  // Sends the request; send(2) if empty.
  std::function<void(const Exchange&)> send = {};
  bool is_answered = false;
};

// Sends all requests, some of them several times, and returns when each is answered, or after so many
// milliseconds.
void ask_all(std::vector<Exchange>& exchanges, int milliseconds);

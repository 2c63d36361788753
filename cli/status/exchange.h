#pragma once

// Sends requests to several hosts at the same time and receives their answers.

#include <functional>
#include <vector>

#include "cli/base/file.h"
#include "cli/status/packet.h"

// A request sent through a socket, and a predicate that recognizes its answer.
struct Exchange {
  Descriptor socket;  // if it is not open, the request is not sent
  Bytes request;
  // Whether a packet, which any host may have sent, answers the request. Called for each packet until it
  // returns true.
  std::function<bool(const Packet&)> is_answer;
  // Sends the request; send(2) if empty.
  std::function<void(const Exchange&)> send = {};
  bool is_answered = false;
};

// Sends all requests, and repeats them while they are not answered. Returns when all of them are answered, or
// after this many milliseconds.
void run_exchanges(std::vector<Exchange>& exchanges, int milliseconds);

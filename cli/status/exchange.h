#pragma once

// Questions to hosts by packets, all at the same time.

#include <functional>
#include <vector>

#include "cli/base/file.h"
#include "cli/status/packet.h"

// A question that is sent by a socket, and how its answer is recognized.
struct Exchange {
  Descriptor socket;  // not open: it is not asked
  Bytes question;
  // Whether the packet, which anybody may have sent, answers the question. It is called for each packet until
  // it returns true.
  std::function<bool(const Packet&)> is_answer;
  // Sends the question; send(2) if empty.
  std::function<void(const Exchange&)> send = {};
  bool is_answered = false;
};

// Asks all the questions, some of them several times, and returns when each is answered, or after so many
// milliseconds.
void ask_all(std::vector<Exchange>& exchanges, int milliseconds);

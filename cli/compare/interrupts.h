#pragma once

// What a change interrupts while it is applied, and for good.

#include <string>
#include <vector>

#include "cli/compare/facts.h"

struct Interrupt {
  std::string kind;                   // "service", "link", "host" or "ssh"
  std::vector<std::string> subjects;  // services, interfaces, MAC addresses
  std::string sentence;
};

// How the two sides came about.
struct Circumstances {
  // Both are dry runs; otherwise `before` is the state of the gateway, on which the run has started.
  bool are_two_runs = false;
  bool is_apply = true;  // the action, which then undoes what the previous run has set up
  std::string ssh;       // SSH_CONNECTION
};

std::vector<Interrupt> find_interrupts(const Facts& before, const Facts& after,
                                       const Circumstances& circumstances);

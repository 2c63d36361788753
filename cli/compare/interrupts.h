#pragma once

// Finds services, links, hosts and SSH connections that a change interrupts, for a moment or permanently.

#include <string>
#include <vector>

#include "cli/compare/facts.h"

struct Interrupt {
  std::string kind;                   // "service", "link", "host" or "ssh"
  std::vector<std::string> subjects;  // services, interfaces, MAC addresses
  std::string sentence;
};

// How the two sides of the comparison were obtained.
struct Circumstances {
  // Both sides are dry runs. Otherwise `before` is the gateway's state, from which the dry run started.
  bool are_two_runs = false;
  bool is_apply = true;  // the action is APPLY, which first undoes what the previous run set up
  std::string ssh;       // the value of SSH_CONNECTION; may be empty
};

std::vector<Interrupt> find_interrupts(const Facts& before, const Facts& after,
                                       const Circumstances& circumstances);

#pragma once

// Finds hosts whose addresses change.

#include <string>
#include <vector>

#include "cli/compare/facts.h"

struct HostMove {
  std::string subject;  // the interface that they are behind, or a MAC address; empty for many devices
  std::string sentence;
};

std::vector<HostMove> find_host_moves(const Facts& before, const Facts& after);

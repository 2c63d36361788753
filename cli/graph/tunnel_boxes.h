#pragma once

// The tunnels of the picture.

#include "cli/graph/node.h"
#include "cli/lint/site.h"

// A tunnel and the interface that it leaves by.
struct TunnelPart {
  Part part;
  bool is_over_cell;
  const Interface* interface;  // null over the cellular link, and where it is not known
};

// All of the configuration, in its order.
std::vector<TunnelPart> tunnel_parts(const Site& site);

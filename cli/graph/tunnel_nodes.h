#pragma once

// The tunnels of the diagram.

#include "cli/graph/facts.h"
#include "cli/graph/node.h"

// A tunnel and the interface that it leaves by.
struct TunnelNode {
  Node node;
  bool is_over_cell;
  const Interface* interface;  // null over the cellular link, and where it is not known
};

// All of the configuration, in its order.
std::vector<TunnelNode> tunnel_nodes(const DiagramFacts& facts);

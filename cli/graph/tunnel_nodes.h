#pragma once

// The tunnels of the diagram.

#include "cli/graph/facts.h"
#include "cli/graph/node.h"

// The node of a tunnel, and the interface through which the tunnel's packets leave.
struct TunnelNode {
  Node node;
  bool is_over_cell;
  const Interface* interface;  // null for the cellular link, or if unknown
};

// All tunnels: GRE, then WireGuard, both in the order of the configuration.
std::vector<TunnelNode> tunnel_nodes(const DiagramFacts& facts);

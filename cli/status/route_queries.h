#pragma once

// Routes that the gateway must take according to its units: to each configured destination, by the default
// route, and to the remote endpoints of its tunnels.

#include <string>
#include <vector>

#include "cli/compare/routing.h"

struct RouteQuery {
  std::string address;            // a representative address of the destination
  std::string destination;        // "10.20.0.0/16", "other networks", "the remote endpoint 198.51.100.1"
  std::string subject;            // the interface of the route
  std::vector<UnitRoute> wanted;  // at least one; any of them is correct
};

// Returns each address once, and no more addresses than the kernel answers in a moment.
std::vector<RouteQuery> route_queries(const Facts& wanted);

// Returns only the addresses of the queries.
std::vector<std::string> addresses_to_query(const Facts& wanted);

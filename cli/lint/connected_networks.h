#pragma once

// Networks that the gateway's interfaces and tunnels are connected to.

#include <json/json.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/lint/ipv4.h"
#include "cli/lint/site.h"

struct ConnectedNetwork {
  std::string owner;  // the name of an interface or a tunnel
  Subnet subnet;
  const Json::Value* location;
  bool is_fixed;  // the configuration can enable it, but not change it
};

// Returns the connected networks, sorted so that each one follows those that contain it.
std::vector<ConnectedNetwork> connected_networks(const Site& site);

// A lookup table of the connected networks.
class ConnectedNetworks {
 public:
  explicit ConnectedNetworks(const Site& site);

  // The smallest network that contains the subnet; if several are equal, that of the interface or tunnel
  // `preferred`. Null if there is none.
  const ConnectedNetwork* find_around(const Subnet& subnet, const std::string& preferred) const;

 private:
  std::vector<ConnectedNetwork> networks_;
  std::multimap<std::pair<Ipv4, int>, const ConnectedNetwork*> by_subnet_;
};

#pragma once

// The networks that the gateway's interfaces and tunnels are in.

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
  bool is_fixed;  // the configuration can only ask for it, not change it
};

// Sorted so that each network follows those that contain it.
std::vector<ConnectedNetwork> connected_networks(const Site& site);

// The same, to look up.
class ConnectedNetworks {
 public:
  explicit ConnectedNetworks(const Site& site);

  // The smallest network that contains the subnet; that of `preferred` if several are equal. Null when there
  // is none.
  const ConnectedNetwork* find_around(const Subnet& subnet, const std::string& preferred) const;

 private:
  std::vector<ConnectedNetwork> networks_;
  std::multimap<std::pair<Ipv4, int>, const ConnectedNetwork*> by_subnet_;
};

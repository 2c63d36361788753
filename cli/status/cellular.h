#pragma once

// State of the cellular link, as its manager publishes it.

#include <string>
#include <vector>

struct Cellular {
  bool is_connected = false;
  // A string is empty if its value is not available.
  std::string interface;
  std::string address;
  std::string prefix;
  std::string gateway;
  std::string mtu;
  std::vector<std::string> name_servers;
};

Cellular read_cellular();

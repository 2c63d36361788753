#pragma once

// What the kernel has: links, IPv4 addresses, routes and forwarding.

#include <map>
#include <optional>
#include <string>
#include <vector>

struct KernelAddress {
  std::string text;         // with its prefix length
  bool is_dynamic = false;  // it came with a lease
};

struct Link {
  bool is_up = false;
  bool has_carrier = false;
  int mtu = 0;
  std::string bridge;            // of which it is a member
  std::optional<bool> forwards;  // IPv4; nothing if the kernel does not report it
  std::vector<KernelAddress> addresses;
};

// A route of the main table.
struct KernelRoute {
  std::string destination;  // "10.20.0.0/16", "default"
  std::string gateway;      // empty without one
  std::string interface;
  int metric = 0;
  bool is_dynamic = false;  // it came with a lease
};

struct Kernel {
  std::map<std::string, Link> links;
  std::vector<KernelRoute> routes;
};

// Returns nothing, or why the kernel cannot be asked.
std::optional<std::string> read_kernel(Kernel& kernel);

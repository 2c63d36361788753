#pragma once

// State of the kernel: links, IPv4 addresses, routes, policy rules and forwarding settings.

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct KernelAddress {
  std::string text;         // with its prefix length
  bool is_dynamic = false;  // from a DHCP lease
};

struct Link {
  bool is_up = false;
  bool has_carrier = false;
  int mtu = 0;
  std::string bridge;            // of which it is a member
  std::optional<bool> forwards;  // IPv4; nothing if the kernel does not report it
  std::vector<KernelAddress> addresses;
  std::optional<bool> proxies_arp = std::nullopt;
  std::string kind = {};           // "vlan", "bridge", "gre", "wireguard"; empty for a network card
  std::string mac = {};            // "02:00:5e:00:00:10"
  std::string permanent_mac = {};  // the card's own, if another one is in use
  std::string parent = {};         // the link on which a VLAN or a tunnel is based
  // Properties of its kind, with the names of `ip -json -details`: "id", "remote", "stp_state". Numbers are
  // strings.
  std::map<std::string, std::string> details = {};
};

struct KernelRoute {
  std::string destination;  // "10.20.0.0/16", "default"
  std::string gateway;      // empty without one
  std::string interface;
  int metric = 0;
  bool is_dynamic = false;    // from a DHCP lease
  std::string table = {};     // empty for the main table
  std::string protocol = {};  // its origin: "kernel", "static" (systemd-networkd), "boot" (a manual command)
  std::string type = {};      // "blackhole", "unreachable"; empty for "unicast"
};

// A policy rule.
struct KernelRule {
  int priority = 0;
  std::string table;       // "main", "308"
  std::string selector;    // as for `ip rule`: "not from 10.0.0.0/8 fwmark 0x5"; empty for any packet
  std::string suppressed;  // routes whose prefix is not longer than this are ignored; empty without one
};

// The route that the kernel chooses for an address.
struct RouteChoice {
  std::string interface;
  std::string gateway;  // empty without one
  std::string table;    // empty for the main table
};

struct Kernel {
  std::map<std::string, Link> links;
  std::vector<KernelRoute> routes;  // of all tables but "local"
  std::vector<KernelRule> rules;
  // By address; nothing for an address without a route. Addresses that could not be queried are missing.
  std::map<std::string, std::optional<RouteChoice>> choices;
  // Parts that could not be read, and why: "the policy rules: ip: no answer within 2 s".
  std::vector<std::string> errors;
  std::time_t time = 0;  // when it was read
};

// Reads the state of the kernel, and the routes that it chooses for the addresses. Returns nothing, or why
// the links cannot be read, without which nothing can be compared. Other errors are added to `kernel.errors`.
std::optional<std::string> read_kernel(const std::vector<std::string>& addresses, Kernel& kernel);

#pragma once

// State of the kernel: links, IPv4 addresses, routes, policy rules and forwarding settings.

#include <ctime>
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
  std::optional<bool> proxies_arp = std::nullopt;
  std::string kind = {};           // "vlan", "bridge", "gre", "wireguard"; empty for a card
  std::string mac = {};            // "02:00:5e:00:00:10"
  std::string permanent_mac = {};  // the card's own, if it has another one now
  std::string parent = {};         // to which it is linked: that of a VLAN
  // What is particular to its kind, by the names of `ip -json -details`: "id", "remote", "stp_state". Numbers
  // as text.
  std::map<std::string, std::string> details = {};
};

struct KernelRoute {
  std::string destination;  // "10.20.0.0/16", "default"
  std::string gateway;      // empty without one
  std::string interface;
  int metric = 0;
  bool is_dynamic = false;  // it came with a lease
  std::string table = {};   // empty for the main table
  std::string protocol =
      {};                 // who made it: "kernel", "static" (systemd-networkd), "boot" (somebody's command)
  std::string type = {};  // "blackhole", "unreachable"; empty for a route that leads somewhere
};

// A policy rule.
struct KernelRule {
  int priority = 0;
  std::string table;     // "main", "308"
  std::string selector;  // as the words of a command: "not from 10.0.0.0/8 fwmark 0x5"; empty for any packet
  std::string suppressed;  // the length of the prefixes whose routes do not count; empty without one
};

// The route that the kernel takes to an address.
struct RouteChoice {
  std::string interface;
  std::string gateway;  // empty without one
  std::string table;    // empty for the main table
};

struct Kernel {
  std::map<std::string, Link> links;
  std::vector<KernelRoute> routes;  // of all tables but "local"
  std::vector<KernelRule> rules;
  // By address; nothing for one to which no route leads. Addresses that could not be queried are missing.
  std::map<std::string, std::optional<RouteChoice>> choices;
  // What could not be read, and why: "the policy rules: ip: no answer within 2 s".
  std::vector<std::string> errors;
  std::time_t time = 0;  // when it was read
};

// Reads the state, and the routes that the kernel takes to the addresses. Returns nothing, or why the links,
// without which there is nothing to compare, cannot be read.
std::optional<std::string> read_kernel(const std::vector<std::string>& addresses, Kernel& kernel);

#pragma once

// The IPv4 network of the kernel: what a trial may change, and what a rollback compares and restores.

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

struct LinkState {
  std::string kind;  // "vlan", "gre"; empty for a card
  bool is_up = false;
  std::string mtu;
  std::string mac;     // empty for a link without Ethernet frames
  std::string master;  // the bridge of which it is a member
  // Of a tunnel or a bridge, by the names that `ip link set ... type KIND` takes.
  std::map<std::string, std::string> parameters;
};

struct AddressState {
  std::string link;
  std::string text;  // "192.168.1.1/24"
  Words words;       // for `ip address add` and `del`
  bool is_dynamic = false;

  // Makes two of them the same address.
  std::string key() const;
};

struct RouteState {
  std::set<std::string> links;
  std::string destination;  // "10.20.0.0/16", "default"
  std::string gateway;      // empty without one, and with several
  std::string metric;
  std::string table;  // a number
  Words words;        // for `ip route add` and `del`
  bool is_dynamic = false;

  std::string key() const;
};

struct RuleState {
  std::string priority;
  std::string table;            // a number; empty for a rule that names none
  std::set<std::string> links;  // by which it chooses packets
  Words words;                  // for `ip rule add` and `del`

  std::string key() const;
};

struct KernelState {
  std::map<std::string, LinkState> links;
  std::map<std::string, AddressState> addresses;  // by key, as are those below
  std::map<std::string, RouteState> routes;       // that somebody has added: no connected or local ones
  std::map<std::string, RuleState> rules;         // likewise
  std::map<std::string, std::string> sysctls;     // by their paths below /proc/sys
};

// Reads the members "links", "addresses", "routes" and "rules", which `ip -Numeric -json -details` has
// printed, and "sysctls". What is malformed, or unknown to this program, is left out.
KernelState kernel_state_of(const Json::Value& record);

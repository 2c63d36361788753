#pragma once

// The state of the kernel's IPv4 network that a trial may change and that a rollback compares and restores.

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

struct LinkState {
  std::string kind;  // "vlan", "gre"; empty for a network card
  bool is_up = false;
  std::string mtu;
  std::string mac;     // empty for a link without Ethernet frames
  std::string master;  // the bridge that it is a member of; may be empty
  // Parameters of a tunnel, bridge or VLAN, by their names in `ip link set ... type KIND`.
  std::map<std::string, std::string> parameters;
};

struct AddressState {
  std::string link;
  std::string text;  // "192.168.1.1/24"
  Words words;       // arguments of `ip address add` and `del`
  bool is_dynamic = false;

  // Two addresses are the same if their keys are equal.
  std::string key() const;
};

struct RouteState {
  std::set<std::string> links;
  std::string destination;  // "10.20.0.0/16", "default"
  std::string gateway;      // empty without a gateway or with several
  std::string metric;
  std::string table;  // a number
  Words words;        // arguments of `ip route add` and `del`
  bool is_dynamic = false;

  std::string key() const;
};

struct RuleState {
  std::string priority;
  std::string table;            // a number; empty for a rule without a table
  std::set<std::string> links;  // links by which it selects packets
  Words words;                  // arguments of `ip rule add` and `del`

  std::string key() const;
};

struct KernelState {
  std::map<std::string, LinkState> links;
  std::map<std::string, AddressState> addresses;  // by key, like routes and rules
  std::map<std::string, RouteState> routes;       // only added ones, no connected or local ones
  std::map<std::string, RuleState> rules;         // only added ones
  std::map<std::string, std::string> sysctls;     // by path below /proc/sys
};

// Reads the members "links", "addresses", "routes" and "rules", as `ip -Numeric -json -details` prints
// them, and "sysctls". Entries that are malformed or unknown to this program are left out.
KernelState kernel_state_of(const Json::Value& record);

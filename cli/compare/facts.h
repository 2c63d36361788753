#pragma once

// What the files of a run make of the gateway, as far as a person would put a change of it into words. It is
// read from the files and not from a configuration, since what is in force now has only files.

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/dry_run/result.h"

// A [Route] section as it stands there.
struct RouteFacts {
  std::string destination;  // with its prefix length; empty, it leads anywhere
  std::string gateway;      // "_dhcp" is the one that the lease names
  std::string metric;
  std::string table;
};

// What the units of an interface say. An empty text is something that it does not have.
struct InterfaceFacts {
  bool is_made = false;  // by systemd-networkd, from a unit for the device
  bool is_passed_through = false;
  bool forwards = false;  // the unit switches forwarding on
  std::string address;    // with its prefix length; kDynamicAddress for a DHCP client
  std::string secondary_address;
  std::string gateway;
  std::string metric;
  std::string mtu;
  std::string bridge;            // of which it is a member
  std::set<std::string> routes;  // the static ones: "10.20.0.0/16 by 192.168.2.2, metric 50"
  std::vector<RouteFacts> route_sections;
  // Of a tunnel.
  std::string description;
  std::string remote;
  std::string local;
};

inline constexpr char kDynamicAddress[] = "one by DHCP";

struct DhcpFacts {
  std::string range;  // "192.168.1.100-192.168.1.199"
  std::string lease_time;
};

struct Facts {
  std::map<std::string, InterfaceFacts> interfaces;
  std::map<std::string, DhcpFacts> servers;             // by interface
  std::map<std::string, std::set<std::string>> relays;  // by interface, the servers
  std::map<std::string, std::string> fixed_leases;      // address by hardware address
  std::map<std::string, std::string> names;             // addresses by name
  std::string name_servers;                             // in their order
};

Facts read_facts(const std::vector<File>& files);

#pragma once

// What the files of a run make of the gateway, as far as a change summary describes it. Facts are read from
// the files and not from a configuration, since what is active now has only files.

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/dry_run/result.h"

// What a change summary compares, in its words.
namespace what {

inline constexpr char kAddress[] = "address";
inline constexpr char kSecondaryAddress[] = "secondary address";
inline constexpr char kRemote[] = "remote address";
inline constexpr char kLocal[] = "local address";
inline constexpr char kGateway[] = "gateway";
inline constexpr char kMetric[] = "metric";
inline constexpr char kMtu[] = "MTU";
inline constexpr char kRoute[] = "route to ";  // and the route
inline constexpr char kRange[] = "DHCP range";
inline constexpr char kLeaseTime[] = "lease time";
inline constexpr char kRelay[] = "relay to ";  // and the server
inline constexpr char kStaticLease[] = "static lease";
inline constexpr char kNameServers[] = "DNS servers";
inline constexpr char kDescription[] = "name";
// Facts that the change summary does not name: whether an interface exists; whether its unit is that of a
// bridge member, of a pass-through port or of neither; whether it serves DHCP; the number of a tunnel.
inline constexpr char kPresence[] = "presence";
inline constexpr char kKind[] = "kind";
inline constexpr char kServer[] = "DHCP server";
inline constexpr char kNumber[] = "number";
// Also without one: whether the unit switches forwarding on; whether a tunnel copies the DSCP class; how
// replies to a tunnel are routed; to which interface a VLAN is linked; whether there are tunnels; whether the
// telnet service runs.
inline constexpr char kForwarding[] = "forwarding";
inline constexpr char kDscp[] = "DSCP class";
inline constexpr char kReplies[] = "replies";
inline constexpr char kLink[] = "link";
inline constexpr char kTunnels[] = "tunnels";
inline constexpr char kTelnet[] = "telnet";
// Of a file: its blank lines, comments and headings.
inline constexpr char kLayout[] = "layout";

}  // namespace what

// The subjects of facts that are not interfaces.
namespace subject {

inline constexpr char kDevice[] = "the device ";  // and its MAC address
inline constexpr char kName[] = "the name ";      // and the name
inline constexpr char kGateway[] = "the gateway";

}  // namespace subject

// A subject, which may be a file, and what of it.
using Topic = std::pair<std::string, std::string>;

// A [Route] section as it stands there.
struct RouteFacts {
  std::string destination;  // with its prefix length; empty, it leads anywhere
  std::string gateway;      // "_dhcp" is the one that the lease names
  std::string metric;
  std::string table;
};

// A [RoutingPolicyRule] section as it stands there.
struct RuleFacts {
  std::string table;
  std::string mark;
  bool is_inverted = false;
  std::string suppressed;  // the length of the prefixes whose routes do not count
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
  std::string name_servers;  // in their order
  std::string bridge;        // of which it is a member
  bool is_bridge = false;
  bool proxies_arp = false;
  bool is_default_route = false;  // without a gateway
  bool is_tunnel = false;
  std::set<std::string> vlans;   // the names of those that are linked to it
  std::set<std::string> routes;  // the static ones: "10.20.0.0/16 via 192.168.2.2, metric 50"
  std::vector<RouteFacts> route_sections;
  std::vector<RuleFacts> rules;
  std::string kind;  // of a device that systemd-networkd makes: "vlan", "bridge", "gre"
  std::string vlan_id;
  // Of a tunnel.
  std::string description;
  std::string remote;
  std::string local;
  bool copies_dscp = false;
};

inline constexpr char kDynamicAddress[] = "one from DHCP";

struct DhcpFacts {
  std::string range;  // "192.168.1.100-192.168.1.199"
  std::string lease_time;
};

struct ServiceCommand {
  std::string service;
  bool is_restart;
};

// What the commands of a run do, as far as the files do not show it.
struct CommandFacts {
  std::set<std::string> deleted_tunnels;
  std::set<std::string> deleted_links;
  std::set<std::string> switched_off;  // ports
  std::string telnet;                  // "start" or "stop"; empty, it is left alone
  std::vector<ServiceCommand> services;
};

struct Facts {
  std::map<std::string, InterfaceFacts> interfaces;
  std::map<std::string, DhcpFacts> servers;             // by interface
  std::map<std::string, std::set<std::string>> relays;  // by interface, the servers
  std::map<std::string, std::string> static_leases;     // addresses by MAC address
  std::map<std::string, std::string> names;             // addresses by name
  std::string name_servers;                             // in their order
  std::map<std::string, std::string> reply_gateways;    // by tunnel
  CommandFacts commands;
  // What the next APPLY deletes: links, and routes by interface and destination.
  std::set<std::string> links_to_delete;
  std::set<std::pair<std::string, std::string>> configured_routes;
  // The destinations of the routes that are added when the cellular link comes up.
  std::set<std::string> cellular_routes;
  // By path, for each line the topics that explain it: to mention that one of them changes is to mention that
  // the line does.
  std::map<std::string, std::vector<std::set<Topic>>> topics;
};

// The commands of a run, one a line, may be among the files, by this name.
inline constexpr char kCommands[] = "commands";

using FilesByPath = std::map<std::string, File>;

FilesByPath by_path(const std::vector<File>& files);
Facts read_facts(const FilesByPath& files);

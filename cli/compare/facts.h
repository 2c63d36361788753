#pragma once

// Facts about a gateway that a change summary describes. They are read from the files of a run rather than
// from a configuration, since only the files of a gateway's active state are known.

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/dry_run/result.h"

// Names of the facts that a change summary compares, as it prints them.
namespace what {

inline constexpr char kAddress[] = "address";
inline constexpr char kSecondaryAddress[] = "secondary address";
inline constexpr char kRemote[] = "remote address";
inline constexpr char kLocal[] = "local address";
inline constexpr char kGateway[] = "gateway";
inline constexpr char kMetric[] = "metric";
inline constexpr char kMtu[] = "MTU";
inline constexpr char kRoute[] = "route to ";  // followed by the route
inline constexpr char kRange[] = "DHCP range";
inline constexpr char kLeaseTime[] = "lease time";
inline constexpr char kRelay[] = "relay to ";  // followed by the server
inline constexpr char kStaticLease[] = "static lease";
inline constexpr char kNameServers[] = "DNS servers";
inline constexpr char kDescription[] = "name";
// Facts whose names are not printed: whether an interface exists; whether its unit is that of a bridge
// member, of a pass-through port or of neither; whether it serves DHCP; the number of a tunnel.
inline constexpr char kPresence[] = "presence";
inline constexpr char kKind[] = "kind";
inline constexpr char kServer[] = "DHCP server";
inline constexpr char kNumber[] = "number";
// More facts whose names are not printed: whether the unit enables forwarding; whether a tunnel copies the
// DSCP class; how replies to a tunnel's packets are routed; the interface to which a VLAN is linked;
// whether there are tunnels; whether the telnet service runs.
inline constexpr char kForwarding[] = "forwarding";
inline constexpr char kDscp[] = "DSCP class";
inline constexpr char kReplies[] = "replies";
inline constexpr char kLink[] = "link";
inline constexpr char kTunnels[] = "tunnels";
inline constexpr char kTelnet[] = "telnet";
// The layout of a file: its blank lines, comments and section headings.
inline constexpr char kLayout[] = "layout";

}  // namespace what

// Subjects of facts other than interfaces.
namespace subject {

inline constexpr char kDevice[] = "the device ";  // followed by its MAC address
inline constexpr char kName[] = "the name ";      // followed by the name
inline constexpr char kGateway[] = "the gateway";

}  // namespace subject

// A subject (an interface, one of the above, or a file) and the name of a fact about it.
using Topic = std::pair<std::string, std::string>;

// The values of a [Route] section, as written.
struct RouteFacts {
  std::string destination;  // with its prefix length, if any; empty for a default route
  std::string gateway;      // "_dhcp" for the gateway of the DHCP lease
  std::string metric;
  std::string table;
};

// The values of a [RoutingPolicyRule] section, as written.
struct RuleFacts {
  std::string table;
  std::string mark;
  bool is_inverted = false;
  std::string suppressed;  // SuppressPrefixLength: ignores routes with prefixes up to this length
};

// Settings in the units of an interface. An empty string means that the setting is missing.
struct InterfaceFacts {
  bool is_made = false;  // systemd-networkd creates the device from a .netdev unit
  bool is_passed_through = false;
  bool forwards = false;  // the unit enables forwarding
  std::string address;    // with its prefix length; kDynamicAddress for a DHCP client
  std::string secondary_address;
  std::string gateway;
  std::string metric;
  std::string mtu;
  std::string name_servers;  // in order, separated by commas
  std::string bridge;        // the bridge that it is a member of
  bool is_bridge = false;
  bool proxies_arp = false;
  bool is_default_route = false;  // DefaultRouteOnDevice: a default route without a gateway
  bool is_tunnel = false;
  std::set<std::string> vlans;   // names of the VLANs that are linked to it
  std::set<std::string> routes;  // static routes: "10.20.0.0/16 via 192.168.2.2, metric 50"
  std::vector<RouteFacts> route_sections;
  std::vector<RuleFacts> rules;
  std::string kind;  // of a device that systemd-networkd creates: "vlan", "bridge", "gre"
  std::string vlan_id;
  // Settings of a tunnel.
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

// Effects of a run's commands that its files do not show.
struct CommandFacts {
  std::set<std::string> deleted_tunnels;
  std::set<std::string> deleted_links;
  std::set<std::string> switched_off;  // ports that are set down
  std::string telnet;                  // "start" or "stop"; empty if the service is left alone
  std::vector<ServiceCommand> services;
};

struct Facts {
  std::map<std::string, InterfaceFacts> interfaces;
  std::map<std::string, DhcpFacts> servers;             // by interface
  std::map<std::string, std::set<std::string>> relays;  // servers by interface
  std::map<std::string, std::string> static_leases;     // addresses by MAC address
  std::map<std::string, std::string> names;             // addresses by name
  std::string name_servers;                             // in order, separated by commas
  std::map<std::string, std::string> reply_gateways;    // by tunnel
  CommandFacts commands;
  // Deleted by the next APPLY: links, and static routes as pairs of interface and destination.
  std::set<std::string> links_to_delete;
  std::set<std::pair<std::string, std::string>> configured_routes;
  // Destinations of the routes that are added when the cellular link comes up.
  std::set<std::string> cellular_routes;
  // By path, the topics of each line. A changed line counts as explained if the change summary mentions a
  // change of any of its topics.
  std::map<std::string, std::vector<std::set<Topic>>> topics;
};

// Name under which a run's commands, one per line, may be among the files.
inline constexpr char kCommands[] = "commands";

using FilesByPath = std::map<std::string, File>;

FilesByPath by_path(const std::vector<File>& files);
Facts read_facts(const FilesByPath& files);

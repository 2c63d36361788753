#pragma once

// The gateway as a configuration sets it up: its interfaces, and the DHCP servers on them. Rules query it,
// so that they only judge settings that have an effect. The code of cmd_lanfab decides which settings have
// one.

#include <json/json.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/lint/ipv4.h"
#include "config/lookup.h"
#include "config/network_context.h"
#include "dnsmasq/dhcp_server.h"
#include "dnsmasq/lan_interface.h"
#include "networkd/network_unit.h"
#include "tunnels/gre.h"
#include "tunnels/wireguard.h"

// An interface that can have its own address; a member of the bridge cannot.
struct Interface {
  enum class Kind { kPort, kPassthroughPort, kVlan, kBridge, kAccessPoint, kWifiClient };

  Kind kind;
  std::string name;            // eth0, eth0.20, br-lan, wlan0
  std::string port;            // the port that carries a VLAN; otherwise empty
  const Json::Value* network;  // its "network" object; never null
  NetworkUnit unit;            // the settings of its unit; a pass-through port gets others from the link
  LanSections sections;        // its dnsmasq sections

  Interface(Kind kind, std::string name, std::string port, const Json::Value& network, LanSections sections);

  // The static address, and its subnet; nothing if it is missing or invalid, and for a DHCP client.
  std::optional<Ipv4> address() const;
  std::optional<Subnet> subnet() const;
};

// The kind in a message: "VLAN", "access point".
const char* word_for(Interface::Kind kind);

// An enabled DHCP server on an interface or on a disabled VLAN.
struct DhcpServer {
  const Interface* interface;
  DhcpSection section;
  // Whether a section for it is written for dnsmasq.
  bool is_served;
  // True for the server of a disabled VLAN: it has no clients, but dnsmasq still parses its section.
  bool is_idle;
};

// An address of an interface, and the value that it results from.
struct OwnAddress {
  Ipv4 address;
  Subnet subnet;
  const Json::Value* location;
  bool is_fixed;  // the configuration can enable it, but not change it
};

// An enabled static route on an interface that gets routes.
struct StaticRoute {
  const Json::Value* settings;  // never null
  RouteSettings written;
  std::string interface_name;
  const Interface* interface;  // null for the cellular interface, which gets its addresses from the link

  // The network that the route is for; nothing if the address or the netmask is missing or invalid.
  std::optional<Subnet> destination() const;
};

class Reachability;

class Site {
 public:
  // Takes the tree of `from`, since a copy would be large, and returns it in the destructor. Until then,
  // `from.root` is null.
  explicit Site(Source& from);
  ~Site();
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  const Source& source;
  NetworkContext context;
  const Json::Value& root;
  std::vector<Interface> interfaces;
  // Disabled VLANs. Their DHCP servers are still written for dnsmasq.
  std::vector<Interface> disabled_vlans;
  std::vector<DhcpServer> servers;
  std::vector<StaticRoute> routes;
  std::vector<GreTunnel> tunnels;  // those that get an address
  std::vector<WireguardInterface> wireguard_interfaces;

  // The interface with this name; null if there is none that can have its own address.
  const Interface* find_interface(const std::string& name) const;
  // Whether the static routes on the interface with this name are written.
  bool gets_routes(const std::string& name) const;
  // The static and the secondary address of the interface, if it gets them and their subnets are known.
  std::vector<OwnAddress> addresses_of(const Interface& interface) const;

  // The addresses and routes of the gateway, computed on the first call.
  const Reachability& reachability() const;

  // Whether the port "eth0" or "eth1" is an enabled LAN port. It may be a member of the bridge.
  bool is_router_port(const std::string& name) const;

 private:
  void add_ports();
  void add_passthrough_port(const std::string& name, const Json::Value& network);
  void add_vlans(const std::string& port, const Json::Value& network);
  void add_bridge();
  void add_radios();
  void add_server(const Interface& interface, bool is_idle);
  void add_routes();
  void add_tunnels();

  Source& owner_;
  std::unordered_map<std::string, const Interface*> interfaces_by_name_;
  mutable std::unique_ptr<const Reachability> reachability_;
};

// The string in quotes, for a message; only the beginning of a long string.
std::string quoted(const std::string& text);

// The location of the value at the dotted path below `object`: the value itself, or `object` if it is
// missing.
const Json::Value& location_of(const Json::Value& object, std::string_view path);

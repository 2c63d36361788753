#pragma once

// What a configuration makes of the gateway: the interfaces that it sets up and the DHCP servers on them. The
// rules ask here, so that each of them judges only what has an effect. The program's own code decides what
// has.

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

// An interface with an address of its own.
struct Interface {
  enum class Kind { kPort, kPassthroughPort, kVlan, kBridge, kAccessPoint, kWifiClient };

  Kind kind;
  std::string name;            // eth0, eth0.20, br-lan, wlan0
  std::string port;            // of a VLAN, the port that carries it
  const Json::Value* network;  // its "network" object; never null
  NetworkUnit unit;            // what its unit has of that; a pass-through port has the rest from the link
  LanSections sections;        // which dnsmasq gets for it

  Interface(Kind kind, std::string name, std::string port, const Json::Value& network, LanSections sections);

  // The static address, and its subnet; nothing while it is missing or invalid, and for a DHCP client.
  std::optional<Ipv4> address() const;
  std::optional<Subnet> subnet() const;
};

// "VLAN", "access point"
const char* word_for(Interface::Kind kind);

// A DHCP server that is enabled on such an interface, or on a VLAN that is not.
struct DhcpServer {
  const Interface* interface;
  DhcpSection section;
  // Whether dnsmasq gets a section for it.
  bool is_served;
  // Whether that is without effect, unless dnsmasq refuses it: nobody is behind a VLAN that is not enabled.
  bool is_idle;
};

// An address of an interface, and the value that asks for it.
struct OwnAddress {
  Ipv4 address;
  Subnet subnet;
  const Json::Value* location;
  bool is_fixed;  // the configuration can only ask for it, not change it
};

// A static route that is enabled and on an interface that gets routes.
struct StaticRoute {
  const Json::Value* settings;  // never null
  RouteSettings written;
  std::string interface_name;
  const Interface* interface;  // null for the cellular interface, which has its addresses from the link

  // Nothing while the address or the netmask is missing or invalid.
  std::optional<Subnet> destination() const;
};

class Reachability;

class Site {
 public:
  // Has the tree of `from` until its end, since two would be large: `from.root` is null meanwhile.
  explicit Site(Source& from);
  ~Site();
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  const Source& source;
  NetworkContext context;
  const Json::Value& root;
  std::vector<Interface> interfaces;
  // VLANs that are not enabled: dnsmasq gets their servers all the same.
  std::vector<Interface> disabled_vlans;
  std::vector<DhcpServer> servers;
  std::vector<StaticRoute> routes;
  std::vector<GreTunnel> tunnels;  // those that get an address
  std::vector<WireguardInterface> wireguard_interfaces;

  // The interface of this name; null when there is none with an address of its own.
  const Interface* find_interface(const std::string& name) const;
  // Whether the static routes on the interface of this name are written.
  bool gets_routes(const std::string& name) const;
  // The static address and the secondary one, as far as the interface gets them and they have a known subnet.
  std::vector<OwnAddress> addresses_of(const Interface& interface) const;

  // Where packets go. It is made when it is first asked for.
  const Reachability& reachability() const;

  // Whether "eth0" or "eth1" is an enabled LAN port, be it a member of the bridge or not.
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

// The text in quotes, as a message names what a configuration calls something; of a long one, the beginning.
std::string quoted(const std::string& text);

// The value at the dotted path below `object` itself, to point at; `object` when it is missing.
const Json::Value& location_of(const Json::Value& object, std::string_view path);

#include "cli/status/drift.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "cli/lint/ipv4.h"
#include "cli/status/service_health.h"
#include "config/interface_queries.h"
#include "config/ports.h"
#include "driver/run_lock.h"
#include "tunnels/gre.h"

constexpr char kRestartNetworkd[] = "systemctl restart systemd-networkd";
constexpr char kNoTraffic[] = "nothing passes through it";
constexpr char kIncomplete[] = "its files may be incomplete";

static std::string value_in(const std::map<std::string, std::string>& map, const std::string& key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : std::string();
}

static bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

static std::string in_lower_case(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

// Whether only a run makes interfaces of this name: VLANs, the bridge, tunnels.
static bool is_made_by_runs(const std::string& name) {
  std::string tunnel = gre_tunnel_name(0);
  tunnel.pop_back();
  const auto is_vlan_of = [&name](const char* parent) {
    return begins_with(name, std::string(parent) + ".");
  };
  return name == kBridgeName || begins_with(name, tunnel) || is_vlan_of(kBridgeName) ||
         std::any_of(std::begin(kEthernetPorts), std::end(kEthernetPorts),
                     [&](const EthernetPort& port) { return is_vlan_of(port.name); });
}

// 0 for a text that does not begin with a number.
static int number_in(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

// The subnet of a text like "10.20.0.1/16" as the kernel prints it, "10.20.0.0/16"; a text that is none as it
// is.
static std::string subnet_of(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::optional<Ipv4> address = parse_ipv4(text.substr(0, slash));
  const int prefix = slash != std::string::npos ? number_in(text.substr(slash + 1)) : 32;
  const std::optional<Subnet> subnet = address ? subnet_with(*address, prefix) : std::nullopt;
  if (!subnet) return text;
  return subnet->prefix == 0 ? "default" : to_text(*subnet);
}

// Whether an address is the wanted one, to which systemd-networkd adds a prefix length if it has none.
static bool is_wanted(const std::string& address, const std::string& wanted) {
  return wanted.find('/') != std::string::npos ? address == wanted : begins_with(address, wanted + "/");
}

std::string quoted_for_shell(const std::string& text) {
  const auto is_plain = [](char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
           std::strchr("._-/:@%+", character) != nullptr;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), is_plain)) return text;
  std::string quoted = "'";
  for (const char character : text)
    quoted += character == '\'' ? "'\\''" : std::string(1, character);
  return quoted + "'";
}

std::optional<bool> wanted_forwarding(const Snapshot& snapshot, const InterfaceFacts& wanted) {
  // It is its bridge that forwards.
  if (!wanted.bridge.empty()) return std::nullopt;
  const auto& interfaces = snapshot.wanted.interfaces;
  // One interface with such a unit switches forwarding on for all, as soon as it is there.
  if (std::any_of(interfaces.begin(), interfaces.end(), [&snapshot](const auto& one) {
        return one.second.forwards && snapshot.kernel.links.count(one.first) != 0;
      })) {
    return true;
  }
  const bool is_asked_for =
      std::any_of(interfaces.begin(), interfaces.end(), [](const auto& one) { return one.second.forwards; });
  if (snapshot.forbids_forwarding && !is_asked_for) return false;
  return std::nullopt;
}

namespace {

class Comparison {
 public:
  explicit Comparison(const Snapshot& snapshot) : snapshot_(snapshot) {}

  std::vector<Drift> find() {
    for (const auto& [name, wanted] : snapshot_.wanted.interfaces)
      compare_interface(name, wanted);
    for (const auto& [name, link] : snapshot_.kernel.links)
      if (snapshot_.wanted.interfaces.count(name) == 0 && is_made_by_runs(name))
        say({name, "it is in the kernel, but not in the configuration", false,
             "it may still carry traffic and addresses", "ip link delete " + quoted_for_shell(name)});
    compare_services();
    add_service_drift(snapshot_, drift_);
    compare_runs();
    if (snapshot_.lock && !snapshot_.lock->is_held)
      say({"lock", "no run holds it any more", false, "every run waits until it is removed",
           std::string("rm ") + kLockFile});
    return std::move(drift_);
  }

 private:
  // What is pending needs no fix.
  void say(Drift drift) {
    if (drift.is_pending) drift.fix.clear();
    drift_.push_back(std::move(drift));
  }

  // Something that an interface lacks.
  void say_missing(const std::string& name, const std::string& what, bool is_pending,
                   const std::string& why) {
    say({name, what + (is_pending ? " is coming" : " is missing"), is_pending, why, kRestartNetworkd});
  }

  void compare_interface(const std::string& name, const InterfaceFacts& wanted) {
    const std::string setup = value_in(snapshot_.setup, name);
    const auto found = snapshot_.kernel.links.find(name);
    if (found == snapshot_.kernel.links.end()) {
      const bool is_pending = wanted.is_made && snapshot_.services.at(kNetworkd).is_pending();
      say({name, is_pending ? "the interface is coming" : "the interface is missing", is_pending, kNoTraffic,
           wanted.is_made ? kRestartNetworkd : ""});
      return;
    }
    const Link& link = found->second;
    if (!link.is_up) {
      const bool is_coming = is_being_set_up(setup);
      say({name, is_coming ? "it is coming up" : "it is down", is_coming, kNoTraffic, kRestartNetworkd});
    }
    compare_setup(name, setup);
    // Without a carrier, systemd-networkd waits for one before it adds addresses and routes. A port may be
    // unplugged.
    const bool is_unplugged = link.is_up && !link.has_carrier;
    const bool is_pending = is_being_set_up(setup) && !is_unplugged;
    compare_settings(name, wanted, link, is_pending);
    compare_forwarding(name, wanted, link, is_pending);
    if (!is_unplugged) find_missing_addresses(name, wanted, link, is_pending);
    find_foreign_addresses(name, wanted, link);
    if (is_unplugged) return;
    for (const RouteFacts& route : wanted.route_sections)
      compare_route(name, wanted, route, is_pending);
  }

  void compare_setup(const std::string& name, const std::string& setup) {
    if (setup == "failed") {
      say({name, "systemd-networkd could not set it up", false, "parts of its configuration are missing",
           kRestartNetworkd});
    }
    if (setup == "unmanaged") {
      say({name, "systemd-networkd has not read its unit", false, "nothing sets the interface up",
           "networkctl reload"});
    }
  }

  bool is_being_set_up(const std::string& setup) const {
    return setup == "configuring" || setup == "pending" || setup == "initialized" ||
           snapshot_.services.at(kNetworkd).is_pending();
  }

  void compare_settings(const std::string& name, const InterfaceFacts& wanted, const Link& link,
                        bool is_pending) {
    const std::string mtu = std::to_string(link.mtu);
    if (!wanted.mtu.empty() && wanted.mtu != mtu)
      say({name, "the MTU is " + mtu + ", not " + wanted.mtu + (is_pending ? " yet" : ""), is_pending,
           "large packets may get lost", kRestartNetworkd});
    if (!wanted.bridge.empty() && wanted.bridge != link.bridge)
      say({name, "it is not in the bridge " + wanted.bridge + (is_pending ? " yet" : ""), is_pending,
           "its hosts do not reach those of the bridge", kRestartNetworkd});
    if (wanted.bridge.empty() && !link.bridge.empty())
      say({name, "it is in the bridge " + link.bridge + (is_pending ? " still" : ""), is_pending,
           "its hosts share the network of the bridge", kRestartNetworkd});
  }

  void compare_forwarding(const std::string& name, const InterfaceFacts& wanted, const Link& link,
                          bool is_pending) {
    const std::optional<bool> is_wanted = wanted_forwarding(snapshot_, wanted);
    if (!is_wanted || !link.forwards || *is_wanted == *link.forwards) return;
    if (*is_wanted) {
      say({name,
           is_pending ? "forwarding is not on yet" : "forwarding is off, but the configuration asks for it",
           is_pending, "hosts do not reach other networks", kRestartNetworkd});
    } else {
      say({name, "forwarding is on, but the configuration does not ask for it", false,
           "hosts reach networks that they should not", "sysctl net.ipv4.ip_forward=0"});
    }
  }

  // The addresses of the configuration, without one by DHCP.
  static std::vector<std::string> own_addresses(const InterfaceFacts& wanted) {
    const bool is_client = wanted.address == kDynamicAddress;
    std::vector<std::string> own;
    for (const std::string& address : {is_client ? std::string() : wanted.address, wanted.secondary_address})
      if (!address.empty()) own.push_back(address);
    return own;
  }

  void find_missing_addresses(const std::string& name, const InterfaceFacts& wanted, const Link& link,
                              bool is_pending) {
    const std::vector<KernelAddress>& there = link.addresses;
    for (const std::string& address : own_addresses(wanted)) {
      const auto is_it = [&address](const KernelAddress& other) { return is_wanted(other.text, address); };
      if (std::none_of(there.begin(), there.end(), is_it))
        say_missing(name, "the address " + address, is_pending, "hosts do not reach the gateway by it");
    }
    const auto is_dynamic = [](const KernelAddress& address) { return address.is_dynamic; };
    if (wanted.address == kDynamicAddress && std::none_of(there.begin(), there.end(), is_dynamic))
      say_missing(name, "an address by DHCP", is_pending, "the networks behind it cannot be reached");
  }

  void find_foreign_addresses(const std::string& name, const InterfaceFacts& wanted, const Link& link) {
    const std::vector<std::string> own = own_addresses(wanted);
    for (const KernelAddress& address : link.addresses) {
      const auto is_it = [&address](const std::string& other) { return is_wanted(address.text, other); };
      if (!address.is_dynamic && std::none_of(own.begin(), own.end(), is_it))
        say({name, "the address " + address.text + " is not from the configuration", false,
             "packets to it end here",
             "ip address delete " + address.text + " dev " + quoted_for_shell(name)});
    }
  }

  // The routes of another table are for other packets than the gateway's own.
  void compare_route(const std::string& name, const InterfaceFacts& wanted, const RouteFacts& route,
                     bool is_pending) {
    if (!route.table.empty()) return;
    const bool is_from_lease = route.gateway == "_dhcp";
    KernelRoute own;
    own.destination = route.destination.empty() ? "default" : subnet_of(route.destination);
    own.gateway = is_from_lease ? "" : route.gateway;
    own.interface = name;
    own.metric = number_in(route.metric);
    const auto is_there = [&own, is_from_lease](const KernelRoute& other) {
      if (other.interface != own.interface || other.destination != own.destination) return false;
      return is_from_lease || (other.gateway == own.gateway && other.metric == own.metric);
    };
    const std::vector<KernelRoute>& routes = snapshot_.kernel.routes;
    if (std::any_of(routes.begin(), routes.end(), is_there)) return;
    // Nothing more than the lease that is missing, too.
    if (is_from_lease && wanted.address == kDynamicAddress) return;
    std::string what = own.destination == "default" ? "the default route" : "the route to " + own.destination;
    if (!own.gateway.empty()) what += " by " + own.gateway;
    if (own.metric != 0) what += ", metric " + std::to_string(own.metric) + ",";
    say_missing(name, what, is_pending, "packets take another way or none");
  }

  void compare_services() {
    for (const auto& [name, service] : snapshot_.services) {
      if (service.is_active() || (name == kDnsmasq && !snapshot_.wants_dnsmasq)) continue;
      const bool is_pending = service.is_pending();
      say({name, is_pending ? "it is " + service.state : "it is not active", is_pending,
           name == kDnsmasq ? "hosts get no addresses and no names" : "nothing sets the interfaces up",
           "systemctl restart " + name});
    }
  }

  // A good APPLY does what the other actions do.
  bool is_superseded(const LastRun& run) const {
    return std::any_of(snapshot_.runs.begin(), snapshot_.runs.end(), [&run](const LastRun& other) {
      return other.action == "APPLY" && other.end == LastRun::End::kDone && other.began > run.began;
    });
  }

  // A run for the cellular link fails while there is none.
  void compare_runs() {
    for (const LastRun& run : snapshot_.runs) {
      if (is_superseded(run)) continue;
      const bool is_without_link = run.action == "WWAN_APPLY" && !snapshot_.cellular.is_connected;
      const std::string fix = "cmd_lanfab " + in_lower_case(run.action);
      if (run.end == LastRun::End::kFailed && !is_without_link)
        say({run.action, "the last run failed", false, kIncomplete, fix});
      if (run.end == LastRun::End::kInterrupted)
        say({run.action, "the last run was interrupted", false, kIncomplete, fix});
    }
  }

  const Snapshot& snapshot_;
  std::vector<Drift> drift_;
};

}  // namespace

std::vector<Drift> find_drift(const Snapshot& snapshot) {
  return Comparison(snapshot).find();
}

#include "cli/status/link_drift.h"

#include <algorithm>
#include <cstdlib>

#include "cli/base/text.h"
#include "cli/status/setup_state.h"
#include "config/interface_queries.h"
#include "config/ports.h"
#include "networkd/wwan_static_routes.h"
#include "tunnels/gre.h"

constexpr int kUsualMtu = 1500;

static bool is_ethernet_port(const std::string& name) {
  return std::any_of(std::begin(kEthernetPorts), std::end(kEthernetPorts),
                     [&name](const EthernetPort& port) { return port.name == name; });
}

static bool is_radio(const std::string& name) {
  return std::any_of(std::begin(kRadios), std::end(kRadios),
                     [&name](const Radio& radio) { return radio.name == name; });
}

// Whether this is the interface of a cellular link that is down. Its unit stays until the next APPLY.
static bool is_without_link(const Snapshot& snapshot, const std::string& name, const InterfaceFacts& wanted) {
  return !snapshot.cellular.is_connected && !wanted.is_made && !is_ethernet_port(name) && !is_radio(name);
}

// Whether interfaces with this name are only created by runs: VLANs, the bridge, tunnels.
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

bool is_wanted_address(const std::string& address, const std::string& wanted) {
  return wanted.find('/') != std::string::npos ? address == wanted : begins_with(address, wanted + "/");
}

static std::string detail(const Link& link, const char* name) {
  const auto found = link.details.find(name);
  return found != link.details.end() ? found->second : "";
}

namespace {

// A parameter that no unit sets, so it should have the kernel's default.
struct BridgeParameter {
  const char* name;  // for `ip`
  const char* value;
  const char* what;
  const char* why;
};

// Compares one link with its unit.
class LinkComparison {
 public:
  LinkComparison(const Snapshot& snapshot, const std::string& name, const InterfaceFacts& wanted,
                 const Link& link, std::vector<Drift>& drift)
      : snapshot_(snapshot),
        name_(name),
        wanted_(wanted),
        link_(link),
        is_pending_(is_pending_at(snapshot, name)),
        drift_(drift) {}

  void compare() {
    compare_state();
    compare_kind();
    compare_mtu();
    compare_mac();
    compare_bridge();
    compare_addresses();
  }

 private:
  void say(const std::string& what, const char* why, const std::string& fix, bool is_surplus = false) {
    drift_.push_back({name_, what, is_pending_, why, is_pending_ ? "" : fix, is_surplus});
  }

  std::string reconfigure() const {
    return "networkctl reconfigure " + quoted_for_shell(name_);
  }

  // Fix for a property that cannot be changed while the device exists.
  std::string remake() const {
    return "ip link delete dev " + quoted_for_shell(name_) + " && " + kRestartNetworkd;
  }

  std::string set_link(const std::string& words) const {
    return "ip link set dev " + quoted_for_shell(name_) + " " + words;
  }

  void compare_state();
  void compare_kind();
  void compare_vlan();
  void compare_tunnel();
  void compare_bridge_parameters();
  void compare_mtu();
  void compare_mac();
  void compare_bridge();
  void compare_addresses();
  void compare_lease();
  void say_missing_address(const std::string& address, const char* why);

  const Snapshot& snapshot_;
  const std::string& name_;
  const InterfaceFacts& wanted_;
  const Link& link_;
  bool is_pending_;
  std::vector<Drift>& drift_;
};

}  // namespace

// A port without a carrier is not drift: there may be no cable.
void LinkComparison::compare_state() {
  const bool is_set_up = is_being_set_up(snapshot_, name_);
  if (!link_.is_up && !is_without_link(snapshot_, name_, wanted_)) {
    drift_.push_back(
        {name_, "it is down", is_set_up, "nothing passes through it", is_set_up ? "" : set_link("up")});
  }
  if (is_held_up_by_udev(snapshot_, name_)) {
    drift_.push_back({name_, "udev has not announced it: journalctl --unit=systemd-udevd", false,
                      "systemd-networkd waits for that",
                      "udevadm trigger --action=add " + quoted_for_shell("/sys/class/net/" + name_)});
  }
  const auto setup = snapshot_.setup.find(name_);
  if (setup == snapshot_.setup.end()) return;
  if (setup->second == "failed") {
    drift_.push_back({name_, "systemd-networkd could not set it up", false,
                      "parts of its configuration are missing", reconfigure()});
  }
  if (setup->second == "unmanaged") {
    const bool is_settling_down = is_settling(snapshot_);
    drift_.push_back({name_, "systemd-networkd has not read its unit", is_settling_down,
                      "the interface is not set up", is_settling_down ? "" : "networkctl reload"});
  }
}

void LinkComparison::compare_kind() {
  // The kind of a network card is empty. If the kernel does not report kinds, all of them are.
  if (wanted_.kind.empty() || link_.kind.empty()) return;
  if (link_.kind != wanted_.kind) {
    say("it is a device of the kind " + link_.kind + ", not " + wanted_.kind,
        "it does not carry the configured traffic", remake());
  } else if (wanted_.kind == "vlan") {
    compare_vlan();
  } else if (wanted_.is_tunnel) {
    compare_tunnel();
  } else if (wanted_.is_bridge) {
    compare_bridge_parameters();
  }
}

void LinkComparison::compare_vlan() {
  const std::string id = detail(link_, "id");
  if (!wanted_.vlan_id.empty() && id != wanted_.vlan_id)
    say("the VLAN ID is " + id + ", not " + wanted_.vlan_id, "its hosts are in another VLAN", remake());
  for (const auto& [name, parent] : snapshot_.wanted.interfaces) {
    if (parent.vlans.count(name_) == 0 || link_.parent.empty() || link_.parent == name) continue;
    say("it is linked to " + link_.parent + ", not to " + name, "its hosts are behind another port",
        remake());
  }
}

void LinkComparison::compare_tunnel() {
  const auto compare = [this](const char* which, const std::string& wanted) {
    const std::string there = detail(link_, which);
    const std::string address = wanted.empty() ? "any" : wanted;
    if (there.empty() || there == address) return;
    say("the " + std::string(which) + " address is " + there + ", not " + address,
        "the tunnel carries no packets", remake());
  };
  compare("remote", wanted_.remote);
  compare("local", wanted_.local);
  const std::string key = detail(link_, "ikey") + detail(link_, "okey");
  if (!key.empty()) say("it has a key, but its unit has none", "the tunnel carries no packets", remake());
  // systemd-networkd sets 64; some of its versions use the TTL of the inner packet instead.
  const std::string ttl = detail(link_, "ttl");
  if (!ttl.empty() && ttl != "64" && ttl != "0" && ttl != "inherit")
    say("the TTL is " + ttl + ", not 64", "its packets may not reach the remote endpoint", remake());
  if (!link_.parent.empty())
    say("it is bound to " + link_.parent, "its packets cannot take another interface", remake());
}

void LinkComparison::compare_bridge_parameters() {
  static constexpr BridgeParameter kParameters[] = {
      {"stp_state", "0", "the spanning tree protocol", "a port that comes up passes nothing at first"},
      {"forward_delay", "1500", "the forward delay", "the spanning tree converges at another speed"},
      {"hello_time", "200", "the hello time", "the spanning tree converges at another speed"},
      {"max_age", "2000", "the maximum age", "the spanning tree converges at another speed"},
      {"ageing_time", "30000", "the aging time", "packets flood the ports, or follow hosts too late"},
      {"priority", "32768", "the priority", "another bridge becomes the root of the spanning tree"},
      {"vlan_filtering", "0", "the VLAN filter", "packets with a VLAN tag are dropped"},
  };
  for (const BridgeParameter& parameter : kParameters) {
    const std::string value = detail(link_, parameter.name);
    if (value.empty() || value == parameter.value) continue;
    say(std::string(parameter.what) + " is " + value + ", not " + parameter.value, parameter.why,
        set_link(std::string("type bridge ") + parameter.name + " " + parameter.value));
  }
}

void LinkComparison::compare_mtu() {
  constexpr char kWhy[] = "large packets may be lost";
  if (!wanted_.mtu.empty()) {
    if (wanted_.mtu != std::to_string(link_.mtu))
      say("the MTU is " + std::to_string(link_.mtu) + ", not " + wanted_.mtu, kWhy,
          set_link("mtu " + wanted_.mtu));
    return;
  }
  // Nothing resets the MTU of a port whose unit does not set it. Other interfaces get their MTU from
  // elsewhere.
  if (!is_ethernet_port(name_) || wanted_.is_passed_through || !wanted_.bridge.empty()) return;
  if (link_.mtu != kUsualMtu)
    say("the MTU is " + std::to_string(link_.mtu) + ", which no unit sets", kWhy,
        set_link("mtu " + std::to_string(kUsualMtu)), true);
}

void LinkComparison::compare_mac() {
  constexpr char kWhy[] = "other devices and static leases know it by the other address";
  // The permanent address is only reported if it differs from the one in use.
  const std::string own = link_.permanent_mac;
  if (!own.empty() && own != link_.mac && is_ethernet_port(name_))
    say("the MAC address is " + link_.mac + ", not the card's own, " + own, kWhy, set_link("address " + own));
  if (wanted_.kind != "vlan") return;
  const auto parent = snapshot_.kernel.links.find(link_.parent);
  if (parent == snapshot_.kernel.links.end() || parent->second.mac == link_.mac) return;
  say("the MAC address is " + link_.mac + ", not that of " + link_.parent + ", " + parent->second.mac, kWhy,
      set_link("address " + quoted_for_shell(parent->second.mac)));
}

void LinkComparison::compare_bridge() {
  if (!wanted_.bridge.empty() && wanted_.bridge != link_.bridge)
    say("it is not in the bridge " + wanted_.bridge, "its hosts cannot reach those of the bridge",
        set_link("master " + quoted_for_shell(wanted_.bridge)));
  if (wanted_.bridge.empty() && !link_.bridge.empty()) {
    drift_.push_back({name_, "it is in the bridge " + link_.bridge, is_pending_,
                      "its hosts share the network of the bridge", is_pending_ ? "" : set_link("nomaster"),
                      true});
  }
}

void LinkComparison::say_missing_address(const std::string& address, const char* why) {
  // The address is only added when there is a carrier.
  if (link_.is_up && !link_.has_carrier) return;
  drift_.push_back({name_, address + " is missing", is_pending_, why, is_pending_ ? "" : reconfigure()});
}

void LinkComparison::compare_lease() {
  const auto& there = link_.addresses;
  const bool has_lease = std::any_of(there.begin(), there.end(),
                                     [](const KernelAddress& address) { return address.is_dynamic; });
  if (wanted_.address == kDynamicAddress && !has_lease)
    say_missing_address("an address from DHCP", "the networks behind it cannot be reached");
}

void LinkComparison::compare_addresses() {
  std::vector<std::string> own;
  for (const std::string& address : {wanted_.address, wanted_.secondary_address})
    if (!address.empty() && address != kDynamicAddress) own.push_back(address);
  const std::vector<KernelAddress>& there = link_.addresses;
  for (const std::string& address : own) {
    const auto is_it = [&address](const KernelAddress& other) {
      return is_wanted_address(other.text, address);
    };
    if (std::none_of(there.begin(), there.end(), is_it))
      say_missing_address("the address " + address, "hosts cannot reach it");
  }
  compare_lease();
  for (const KernelAddress& address : there) {
    const auto is_it = [&address](const std::string& other) {
      return is_wanted_address(address.text, other);
    };
    if (address.is_dynamic || std::any_of(own.begin(), own.end(), is_it)) continue;
    drift_.push_back(
        {name_, "the address " + address.text + " is not configured", is_settling(snapshot_),
         "the gateway accepts packets to it",
         "ip address delete " + quoted_for_shell(address.text) + " dev " + quoted_for_shell(name_), true});
  }
}

static void compare_missing(const Snapshot& snapshot, const std::string& name, const InterfaceFacts& wanted,
                            std::vector<Drift>& drift) {
  const bool is_pending = wanted.is_made && is_settling(snapshot);
  drift.push_back({name, "the interface is missing", is_pending, "nothing passes through it",
                   wanted.is_made && !is_pending ? kRestartNetworkd : ""});
}

// Reports a link without a unit if runs create such links; for a port, a radio or the cellular link, its
// addresses.
static void compare_leftover(const Snapshot& snapshot, const std::string& name, const Link& link,
                             std::vector<Drift>& drift) {
  const std::string quoted_name = quoted_for_shell(name);
  if (is_made_by_runs(name)) {
    drift.push_back({name, "it exists in the kernel, but is not configured", is_settling(snapshot),
                     "it may still carry traffic and addresses", "ip link delete dev " + quoted_name, true});
    return;
  }
  const bool is_own = is_ethernet_port(name) || is_radio(name) || name == kWwanRouteInterface;
  if (!is_own || !link.is_up) return;
  for (const KernelAddress& address : link.addresses) {
    drift.push_back({name, "the address " + address.text + " is not configured", is_settling(snapshot),
                     "packets leave through an interface that is not configured",
                     "ip address delete " + quoted_for_shell(address.text) + " dev " + quoted_name, true});
  }
}

void find_link_drift(const Snapshot& snapshot, std::vector<Drift>& drift) {
  const auto& links = snapshot.kernel.links;
  for (const auto& [name, wanted] : snapshot.wanted.interfaces) {
    const auto found = links.find(name);
    if (found == links.end()) {
      if (is_without_link(snapshot, name, wanted)) continue;
      compare_missing(snapshot, name, wanted, drift);
    } else {
      LinkComparison(snapshot, name, wanted, found->second, drift).compare();
    }
  }
  for (const auto& [name, link] : links)
    if (snapshot.wanted.interfaces.count(name) == 0) compare_leftover(snapshot, name, link, drift);
}

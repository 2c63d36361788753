#include "cli/status/probes.h"

#include <deque>
#include <functional>
#include <set>
#include <sstream>
#include <utility>

#include "cli/status/arp_probe.h"
#include "cli/status/dhcp_probe.h"
#include "cli/status/dns_query.h"
#include "cli/status/ping_probe.h"

namespace {

class Probes {
 public:
  Probes(const Snapshot& snapshot, std::vector<Drift>& drift) : snapshot_(snapshot), drift_(drift) {
    for (const auto& [name, link] : snapshot.kernel.links) {
      if (const auto ethernet = find_ethernet(name)) own_hosts_.insert(ethernet->address);
      for (const KernelAddress& address : link.addresses)
        if (const auto number = address_of(address)) own_addresses_.insert(*number);
    }
  }

  void add_addresses();
  void add_dhcp_servers();
  void add_gateways();
  void add_tunnels();
  void add_name_servers();

  void run(int milliseconds) {
    run_exchanges(exchanges_, milliseconds);
    for (std::size_t index = 0; index < exchanges_.size(); ++index)
      reports_[index](exchanges_[index].is_answered);
  }

 private:
  // `report` is called at the end. Its argument is whether there was an answer.
  void add(Exchange exchange, std::function<void(bool)> report) {
    exchanges_.push_back(std::move(exchange));
    reports_.push_back(std::move(report));
  }

  void say(const std::string& subject, const std::string& what, const std::string& why) {
    drift_.push_back({subject, what, false, why, ""});
  }

  static std::optional<Ipv4> address_of(const KernelAddress& address) {
    return parse_ipv4(address.text.substr(0, address.text.find('/')));
  }

  // The link if it can carry packets; otherwise null.
  const Link* link_of(const std::string& name) const {
    const auto found = snapshot_.kernel.links.find(name);
    return found != snapshot_.kernel.links.end() && found->second.has_carrier ? &found->second : nullptr;
  }

  std::set<std::pair<std::string, Ipv4>> gateways() const;

  const Snapshot& snapshot_;
  std::vector<Drift>& drift_;
  std::set<EthernetAddress> own_hosts_;
  std::set<Ipv4> own_addresses_;
  std::vector<Exchange> exchanges_;
  std::vector<std::function<void(bool)>> reports_;
  // Answers. The exchanges point to elements, which stay at their addresses in a deque.
  std::deque<std::optional<EthernetAddress>> owners_;
  std::deque<std::optional<int>> codes_;
  std::deque<std::set<Ipv4>> servers_;
};

}  // namespace

void Probes::add_addresses() {
  for (const auto& one : snapshot_.wanted.interfaces) {
    const std::string& name = one.first;
    const Link* link = link_of(name);
    const auto ethernet = find_ethernet(name);
    if (link == nullptr || !ethernet) continue;
    for (const KernelAddress& own : link->addresses) {
      const auto address = address_of(own);
      if (!address) continue;
      auto& owner = owners_.emplace_back();
      add(query_arp(*ethernet, 0, *address, own_hosts_, &owner),
          [this, name, &owner, text = to_text(*address)](bool) {
            if (!owner) return;
            say(name, "the host " + to_text(*owner) + " has the address " + text + ", too",
                "packets to the gateway may go to that host");
          });
    }
  }
}

void Probes::add_dhcp_servers() {
  for (const auto& one : snapshot_.wanted.servers) {
    const std::string& name = one.first;
    const auto ethernet = find_ethernet(name);
    if (link_of(name) == nullptr || !ethernet) continue;
    auto& servers = servers_.emplace_back();
    add(discover_dhcp(*ethernet, &servers), [this, name, &servers](bool) {
      for (const Ipv4 server : servers)
        if (own_addresses_.count(server) == 0)
          say(name, "there is another DHCP server, " + to_text(server),
              "hosts may get addresses and gateways that do not work");
    });
  }
}

// Gateways of the wanted routes and of routes from DHCP leases, with their interfaces.
std::set<std::pair<std::string, Ipv4>> Probes::gateways() const {
  std::set<std::pair<std::string, Ipv4>> gateways;
  for (const auto& [name, wanted] : snapshot_.wanted.interfaces)
    for (const RouteFacts& route : wanted.route_sections)
      if (const auto gateway = parse_ipv4(route.gateway)) gateways.insert({name, *gateway});
  for (const KernelRoute& route : snapshot_.kernel.routes)
    if (const auto gateway = parse_ipv4(route.gateway); gateway && route.is_dynamic)
      gateways.insert({route.interface, *gateway});
  return gateways;
}

void Probes::add_gateways() {
  for (const auto& one : gateways()) {
    const std::string& name = one.first;
    const Ipv4 gateway = one.second;
    const Link* link = link_of(name);
    if (link == nullptr) continue;
    const auto report = [this, name, gateway](bool is_answered) {
      if (!is_answered)
        say(name, "the gateway " + to_text(gateway) + " does not answer", "its routes lead nowhere");
    };
    const auto ethernet = find_ethernet(name);
    if (!ethernet) {
      add(ping_host(gateway, name), report);
      continue;
    }
    const auto sender = link->addresses.empty() ? std::nullopt : address_of(link->addresses.front());
    add(query_arp(*ethernet, sender.value_or(0), gateway, own_hosts_, &owners_.emplace_back()), report);
  }
}

void Probes::add_tunnels() {
  for (const auto& one : snapshot_.wanted.interfaces) {
    const std::string& name = one.first;
    const auto remote = parse_ipv4(one.second.remote);
    if (!remote) continue;
    add(ping_host(*remote), [this, name, remote](bool is_answered) {
      if (!is_answered)
        say(name, "the remote endpoint " + to_text(*remote) + " does not answer an echo request",
            "packets into the tunnel may be lost");
    });
  }
}

void Probes::add_name_servers() {
  std::istringstream servers(snapshot_.wanted.name_servers);
  for (std::string text; std::getline(servers >> std::ws, text, ',');) {
    const auto server = parse_ipv4(text);
    if (!server) continue;
    auto& code = codes_.emplace_back();
    // Queries the servers of the root zone: every DNS server can answer this, and it reveals nothing.
    add(query_dns(*server, "", DnsType::kNameServer, &code), [this, text, &code](bool is_answered) {
      constexpr char kWhy[] = "hosts may not be able to resolve Internet names";
      if (!is_answered) {
        say(kDnsmasq, "the DNS server " + text + " does not answer", kWhy);
      } else if (*code != 0) {
        say(kDnsmasq, "the DNS server " + text + " answers with the error " + std::to_string(*code), kWhy);
      }
    });
  }
}

void add_probe_drift(const Snapshot& snapshot, std::vector<Drift>& drift, int milliseconds) {
  Probes probes(snapshot, drift);
  probes.add_addresses();
  probes.add_dhcp_servers();
  probes.add_gateways();
  probes.add_tunnels();
  probes.add_name_servers();
  probes.run(milliseconds);
}

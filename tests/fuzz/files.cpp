#include "files.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "dnsmasq/dnsmasq_conf.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "networkd/unit_file.h"

namespace {

// Settings of one interface. A number selects one of a few values; 0 means that there is no value.
struct Link {
  std::string name;
  bool is_there = false;
  unsigned address = 0;
  bool is_dhcp_client = false;
  unsigned gateway = 0;
  unsigned metric = 0;
  unsigned mtu = 0;
  bool is_member = false;
  bool is_passed_through = false;
  unsigned name_server = 0;                       // no sentence of the change summary mentions it
  std::vector<std::array<unsigned, 3>> routes{};  // destination, gateway and metric
  unsigned range = 0;
  unsigned lease_time = 0;
  std::vector<unsigned> leases{};
  std::vector<unsigned> relays{};
};

struct Tunnel {
  unsigned title = 0;
  unsigned remote = 0;
  unsigned local = 0;
  unsigned mtu = 0;
  unsigned address = 0;
};

struct Run {
  std::vector<Link> links;
  std::vector<Tunnel> tunnels;
  bool deletes_tunnels = false;
  std::vector<std::pair<unsigned, unsigned>> hosts;  // name and address
  std::vector<unsigned> name_servers;
  unsigned comment = 0;
};

}  // namespace

// Returns a number from 0 to 3, given one byte of the input.
static unsigned draw_value(Generator& generator) {
  return generator.below(4);
}

static void draw_routes(Generator& generator, Link& link) {
  link.routes.clear();
  for (unsigned count = generator.below(4); count > 0; --count)
    link.routes.push_back({1 + generator.below(3), generator.below(3), generator.below(3)});
}

static std::vector<unsigned> draw_list(Generator& generator) {
  std::vector<unsigned> list;
  for (unsigned count = generator.below(3); count > 0; --count)
    list.push_back(1 + generator.below(3));
  return list;
}

static void draw_servers(Generator& generator, Link& link) {
  link.range = draw_value(generator);
  link.lease_time = 1 + generator.below(2);
  link.leases = draw_list(generator);
  link.relays = draw_list(generator);
  // A list of servers has no duplicates.
  std::sort(link.relays.begin(), link.relays.end());
  link.relays.erase(std::unique(link.relays.begin(), link.relays.end()), link.relays.end());
}

// Sets one random aspect of the link, or all of them if `is_whole`.
static void draw_link(Generator& generator, Link& link, bool is_whole) {
  const unsigned aspect = generator.below(8);
  if (is_whole || aspect == 0) link.is_there = !generator.one_in(4);
  if (is_whole || aspect == 1) link.address = draw_value(generator);
  if (is_whole || aspect == 2) link.gateway = draw_value(generator);
  if (is_whole || aspect == 3) link.is_dhcp_client = generator.one_in(4);
  if (is_whole || aspect == 4) {
    link.metric = draw_value(generator);
    link.mtu = draw_value(generator);
    link.name_server = draw_value(generator);
  }
  if (is_whole || aspect == 5) {
    link.is_member = generator.one_in(4);
    link.is_passed_through = generator.one_in(6);
  }
  if (is_whole || aspect == 6) draw_routes(generator, link);
  if (is_whole || aspect == 7) draw_servers(generator, link);
}

// Generates a tunnel to a remote endpoint that no other tunnel has.
static Tunnel draw_tunnel(Generator& generator, const std::vector<Tunnel>& others) {
  Tunnel tunnel{generator.below(3), 1 + generator.below(4), draw_value(generator), draw_value(generator),
                1 + generator.below(3)};
  while (std::any_of(others.begin(), others.end(),
                     [&](const Tunnel& other) { return other.remote == tunnel.remote; }))
    ++tunnel.remote;
  return tunnel;
}

static void draw_hosts(Generator& generator, Run& run) {
  run.hosts.clear();
  for (unsigned count = generator.below(4); count > 0; --count)
    run.hosts.emplace_back(1 + generator.below(3), 1 + generator.below(3));
  run.name_servers = draw_list(generator);
  run.comment = draw_value(generator);
}

static Run draw_run(Generator& generator) {
  Run run;
  for (const char* name : {"eth0", "eth0.20", "wwan0"}) {
    Link link;
    link.name = name;
    draw_link(generator, link, true);
    run.links.push_back(link);
  }
  for (unsigned count = generator.below(4); count > 0; --count)
    run.tunnels.push_back(draw_tunnel(generator, run.tunnels));
  draw_hosts(generator, run);
  return run;
}

static void edit(Generator& generator, Run& run) {
  switch (generator.below(5)) {
    case 0:
      if (!run.tunnels.empty())
        run.tunnels.erase(run.tunnels.begin() +
                          static_cast<int>(generator.below(static_cast<unsigned>(run.tunnels.size()))));
      break;
    case 1:
      run.tunnels.push_back(draw_tunnel(generator, run.tunnels));
      break;
    case 2:
      draw_hosts(generator, run);
      break;
    default:
      draw_link(generator, run.links[generator.below(static_cast<unsigned>(run.links.size()))], false);
  }
  run.deletes_tunnels = generator.one_in(2);
}

// --- The files

static std::string address_of(const std::string& network, unsigned host) {
  return network + "." + std::to_string(host);
}

static std::string own_address(unsigned number) {
  return "192.168." + std::to_string(number) + ".1";
}

static std::string subnet(unsigned number) {
  return "192.168." + std::to_string(number) + ".0/24";
}

static std::string setting(const char* key, const std::string& value) {
  return std::string(key) + " = " + value + "\n";
}

static std::string network_section(const Link& link) {
  std::string text = "\n[Network]\n";
  if (link.is_member) return text + setting("Bridge", "br-lan");
  if (link.is_dhcp_client) {
    text += setting("DHCP", "ipv4");
  } else if (link.address != 0) {
    text += setting("Address", own_address(link.address) + "/24");
  }
  if (link.is_passed_through) text += setting("IPv4ProxyARP", "yes");
  if (link.name_server != 0) text += setting("DNS", address_of("9.9.9", link.name_server));
  return text;
}

// Returns the section of the default route, or of the route to the link's own network; it precedes the static
// routes. Empty if there is none.
static std::string own_route(const Link& link) {
  if (link.is_member || link.is_passed_through) return "";
  if (link.is_dhcp_client)
    return "\n[Route]\n" + setting("Gateway", "_dhcp") +
           (link.metric != 0 ? setting("Metric", std::to_string(10 * link.metric)) : "");
  if (link.address == 0) return "";
  const std::string metric = link.metric != 0 ? setting("Metric", std::to_string(10 * link.metric)) : "";
  if (link.gateway == 0) return "\n[Route]\n" + setting("Destination", subnet(link.address)) + metric;
  return "\n[Route]\n" + setting("Gateway", address_of("192.168.99", link.gateway)) + metric;
}

static std::string static_routes(const Link& link) {
  std::string text;
  if (link.is_member) return text;
  for (const auto& [destination, gateway, metric] : link.routes) {
    text += "\n[Route]\n" + setting("Destination", "10." + std::to_string(destination) + ".0.0/16");
    if (gateway != 0) text += setting("Gateway", address_of("172.16.0", gateway));
    if (metric != 0) text += setting("Metric", std::to_string(500 + metric));
  }
  return text;
}

static std::string network_unit(const Link& link) {
  std::string text = "[Match]\n" + setting("Name", link.name);
  if (link.mtu != 0) text += "\n[Link]\n" + setting("MTUBytes", std::to_string(1400 + link.mtu));
  return text + network_section(link) + own_route(link) + static_routes(link);
}

static std::string tunnel_name(std::size_t index) {
  return "gre-tun" + std::to_string(index + 1);
}

static std::string tunnel_device(const Tunnel& tunnel, const std::string& name) {
  std::string text = "[NetDev]\n";
  if (tunnel.title != 0) text += setting("Description", "tunnel " + std::to_string(tunnel.title));
  text += setting("Name", name) + setting("Kind", "gre");
  if (tunnel.mtu != 0) text += setting("MTUBytes", std::to_string(1300 + tunnel.mtu));
  text += "\n[Tunnel]\n" + setting("Remote", address_of("198.51.100", tunnel.remote));
  if (tunnel.local != 0) text += setting("Local", address_of("203.0.113", tunnel.local));
  return text + setting("Independent", "true");
}

static bool has_address(const Link& link) {
  return link.is_there && link.address != 0 && !link.is_member && !link.is_dhcp_client;
}

static std::string dhcp_server(const Link& link) {
  const std::string network = "192.168." + std::to_string(link.address);
  std::string text = "\n# DHCP server on " + link.name + "\n";
  text += "dhcp-range=" + link.name + "," + address_of(network, 100 + link.range) + "," +
          address_of(network, 200 + link.range) + "," + std::to_string(link.lease_time) + "h\n";
  text += "dhcp-option=" + link.name + ",3," + own_address(link.address) + "\n";
  text += "dhcp-option=" + link.name + ",1,255.255.255.0\n";
  for (const unsigned lease : link.leases)
    text +=
        "dhcp-host=02:00:5e:00:00:0" + std::to_string(lease) + "," + address_of(network, 50 + lease) + "\n";
  return text;
}

static std::string dhcp_relay(const Link& link) {
  std::string text = "\n# DHCP relay on " + link.name + "\n";
  for (const unsigned server : link.relays)
    text += "dhcp-relay=" + own_address(link.address) + "," + address_of("10.9.9", server) + "\n";
  return text;
}

static std::string dnsmasq_conf(const Run& run) {
  std::string text = "# Configuration file for dnsmasq\n\ndomain-needed\n";
  for (const Link& link : run.links) {
    if (!has_address(link)) continue;
    if (link.range != 0) text += dhcp_server(link);
    if (!link.relays.empty()) text += dhcp_relay(link);
  }
  return text;
}

static std::string hosts_file(const Run& run) {
  std::string text = "127.0.0.1 localhost\n";
  if (run.comment != 0) text += "# " + std::to_string(run.comment) + "\n";
  for (const auto& [name, address] : run.hosts)
    text += address_of("192.168.5", address) + " host" + std::to_string(name) + "\n";
  return text;
}

static std::string resolver_file(const Run& run) {
  std::string text;
  for (const unsigned server : run.name_servers)
    text += "nameserver " + address_of("8.8.8", server) + "\n";
  return text;
}

static std::string route_deletions(const Run& run) {
  std::string text = "#!/bin/sh\n";
  for (const Link& link : run.links) {
    if (!link.is_there || link.is_member) continue;
    for (const auto& route : link.routes)
      text += "/sbin/ip route del 10." + std::to_string(route[0]) + ".0.0/16 dev " + link.name + "\n";
  }
  return text;
}

static std::string commands(const Run& run, const Run& former) {
  std::string text;
  for (std::size_t i = 0; i < former.tunnels.size() && run.deletes_tunnels; ++i)
    text += "/sbin/ip tunnel del " + tunnel_name(i) + "\n";
  return text + "/bin/systemctl restart systemd-networkd\n";
}

static FilesByPath files_of(const Run& run, const Run& former) {
  std::vector<File> files;
  for (const Link& link : run.links) {
    if (link.is_there)
      files.push_back({kUnitDir + ("20-" + link.name) + ".network", 0644, network_unit(link)});
  }
  for (std::size_t i = 0; i < run.tunnels.size(); ++i) {
    Link link;
    link.name = tunnel_name(i);
    const std::string path = kUnitDir + ("70-" + link.name);
    files.push_back({path + ".netdev", 0644, tunnel_device(run.tunnels[i], link.name)});
    files.push_back({path + ".network", 0644,
                     "[Match]\n" + setting("Name", link.name) + "\n[Network]\n" +
                         setting("Address", address_of("10.255.1", run.tunnels[i].address) + "/30")});
  }
  files.push_back({kDnsmasqConf, 0644, dnsmasq_conf(run)});
  files.push_back({kHostsFile, 0644, hosts_file(run)});
  files.push_back({kResolvConf, 0644, resolver_file(run)});
  files.push_back({"/var/run/.delete_static_routes", 0755, route_deletions(run)});
  files.push_back({kCommands, 0, commands(run, former)});
  return by_path(files);
}

TwoRuns draw_runs(Generator& generator) {
  const Run before = draw_run(generator);
  Run after = generator.one_in(8) ? draw_run(generator) : before;
  for (unsigned edits = generator.below(4); edits > 0; --edits)
    edit(generator, after);
  return {files_of(before, before), files_of(after, before)};
}

#include "cli/compare/dnsmasq_facts.h"

#include <cstdlib>

#include "cli/compare/fields.h"
#include "dnsmasq/dhcp_relay.h"
#include "dnsmasq/dhcp_server.h"
#include "platform/libvantor.h"

// The name in a section heading that was written with `format`; empty for any other line.
static std::string name_in_heading(const std::string& line, const char* format) {
  const std::string heading = format;
  const std::size_t begin = heading.find('#');
  const std::string words = heading.substr(begin, heading.find('%') - begin);
  return line.compare(0, words.size(), words) == 0 ? line.substr(words.size()) : std::string();
}

void DnsmasqReader::read(const std::string& line, std::set<Topic>& topics) {
  const std::size_t equals = line.find('=');
  const std::string key = line.substr(0, equals);
  const std::vector<std::string> values =
      split(equals != std::string::npos ? line.substr(equals + 1) : std::string(), ',');
  if (!line.empty() && line[0] == '#') heading_ = line;
  if (key == "dhcp-range" && values.size() >= 4) read_range(values, topics);
  if (key == "dhcp-option" && values.size() == 3) read_option(values, topics);
  if (key == "dhcp-host" && values.size() == 2) read_host(values, topics);
  if (key == "dhcp-relay" && values.size() == 2) read_relay(values, topics);
}

void DnsmasqReader::read_range(const std::vector<std::string>& values, std::set<Topic>& topics) {
  const std::string& interface = values[0];
  DhcpFacts& server = facts_.servers[interface];
  server.range = join(server.range, values[1] + "-" + values[2], " and ");
  server.lease_time = join(server.lease_time, values[3], " and ");
  topics = {{interface, what::kServer}, {interface, what::kRange}, {interface, what::kLeaseTime}};
}

// The value of most options is the address of the interface, which clients get as router and DNS server, or
// its netmask: a change of the address then explains the line.
void DnsmasqReader::read_option(const std::vector<std::string>& values, std::set<Topic>& topics) {
  topics = {{values[0], what::kServer}};
  const auto found = facts_.interfaces.find(values[0]);
  if (found == facts_.interfaces.end()) return;
  const std::string& address = found->second.address;
  const std::size_t slash = address.find('/');
  char netmask[16] = "";
  if (slash != std::string::npos) {
    cidr_to_netmask(static_cast<int>(std::strtol(address.c_str() + slash + 1, nullptr, 10)), netmask);
  }
  if (values[2] == address.substr(0, slash) || values[2] == netmask)
    topics.insert({values[0], what::kAddress});
}

// Reads a static lease, or the line above the range of a pass-through port, which contains the port's own
// MAC address. Only the heading distinguishes the two.
void DnsmasqReader::read_host(const std::vector<std::string>& values, std::set<Topic>& topics) {
  if (name_in_heading(heading_, kDhcpServerHeading).empty()) {
    const std::string interface = heading_.substr(heading_.rfind(' ') + 1);
    topics = {{interface, what::kServer}, {interface, what::kRange}};
    return;
  }
  facts_.static_leases[values[0]] = join(facts_.static_leases[values[0]], values[1], " and ");
  topics = {{subject::kDevice + values[0], what::kStaticLease}};
}

// dnsmasq relays requests that arrive on the interface with the local address. If no unit has that address,
// the name of the interface is taken from the heading.
void DnsmasqReader::read_relay(const std::vector<std::string>& values, std::set<Topic>& topics) {
  std::string interface = interface_with(values[0]);
  if (interface.empty()) interface = name_in_heading(heading_, kDhcpRelayHeading);
  facts_.relays[interface].insert(values[1]);
  topics = {{interface, what::kRelay + values[1]}, {interface, what::kAddress}};
}

std::string DnsmasqReader::interface_with(const std::string& address) const {
  for (const auto& [name, interface] : facts_.interfaces)
    if (interface.address.substr(0, interface.address.find('/')) == address) return name;
  return {};
}

void read_hosts_line(const std::string& line, std::set<Topic>& topics, Facts& facts) {
  const std::vector<std::string> words = words_of(line.substr(0, line.find('#')));
  for (std::size_t number = 1; number < words.size(); ++number) {
    const std::string& name = words[number];
    facts.names[name] = join(facts.names[name], words[0], " and ");
    topics.insert({subject::kName + name, what::kAddress});
  }
}

void read_resolver_line(const std::string& line, std::set<Topic>& topics, Facts& facts) {
  const std::vector<std::string> words = words_of(line);
  if (words.size() < 2 || words[0] != "nameserver") return;
  facts.name_servers = join(facts.name_servers, words[1], ", ");
  topics = {{subject::kGateway, what::kNameServers}};
}

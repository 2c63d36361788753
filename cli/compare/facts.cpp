#include "cli/compare/facts.h"

#include <cstdlib>
#include <sstream>

#include "dnsmasq/dhcp_relay.h"
#include "dnsmasq/dhcp_server.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "networkd/unit_file.h"
#include "platform/libvantor.h"

namespace {

// A line "key = value" of a unit.
struct Directive {
  std::string key;
  std::string value;
  std::set<Topic>* topics;
};

struct Section {
  std::string name;
  std::string interface;  // that of the unit
  std::vector<Directive> directives;

  // The last value of the key.
  std::string value(const std::string& key) const {
    std::string value;
    for (const Directive& directive : directives)
      if (directive.key == key) value = directive.value;
    return value;
  }

  // The same, being that of a fact, which explains the line.
  std::string read(const std::string& key, const std::string& fact) {
    for (Directive& directive : directives)
      if (directive.key == key) explain(directive, fact);
    return value(key);
  }

  // All that the section says is one fact.
  void read_whole(const std::string& fact) {
    for (Directive& directive : directives)
      explain(directive, fact);
  }

  void explain(Directive& directive, const std::string& fact) const {
    directive.topics->erase({interface, what::kKind});
    directive.topics->insert({interface, fact});
    directive.topics->insert({interface, what::kNumber});
  }
};

}  // namespace

static std::string without_blanks(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

static std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(text);
  for (std::string field; std::getline(stream, field, separator);)
    fields.push_back(field);
  return fields;
}

static std::vector<std::string> words_of(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream stream(line);
  for (std::string word; stream >> word;)
    words.push_back(word);
  return words;
}

static std::string join(const std::string& list, const std::string& item, const char* separator) {
  return list.empty() ? item : list + separator + item;
}

// Until a fact is read from it, a line is one of those that make the unit one of its kind.
static std::vector<Section> read_unit(const std::vector<std::string>& lines,
                                      std::vector<std::set<Topic>>& topics) {
  std::vector<Section> sections;
  for (std::size_t number = 0; number < lines.size(); ++number) {
    const std::string& line = lines[number];
    const std::size_t equals = line.find('=');
    if (!line.empty() && line[0] == '[') {
      sections.push_back({line, "", {}});
    } else if (equals != std::string::npos && !sections.empty()) {
      sections.back().directives.push_back(
          {without_blanks(line.substr(0, equals)), without_blanks(line.substr(equals + 1)), &topics[number]});
    }
  }
  for (Section& section : sections) {
    section.interface = sections.front().value("Name");
    for (Directive& directive : section.directives)
      *directive.topics = {{section.interface, what::kPresence}, {section.interface, what::kKind}};
  }
  return sections;
}

static void read_network_section(Section& section, InterfaceFacts& facts) {
  const std::string address = section.read("Address", what::kAddress);
  facts.address = section.read("DHCP", what::kAddress).empty() ? address : kDynamicAddress;
  facts.bridge = section.value("Bridge");
  facts.is_passed_through = section.value("IPv4ProxyARP") == "yes";
  facts.forwards = section.value("IPForward") == "yes";
  for (Directive& directive : section.directives)
    if (directive.key == "VLAN") directive.topics->insert({directive.value, what::kPresence});
}

// With an address, an interface has a route of its own in front of the static ones: to the gateway or,
// without one, to its subnet. Not so a tunnel, whose routes are all "on link", and a port in pass-through,
// behind which there is a single device.
static bool is_own_route(const Section* network, const Section& route, const InterfaceFacts& facts) {
  if (network == nullptr || facts.address.empty()) return false;
  const bool is_passthrough_port = facts.is_passed_through && network->value("DefaultRouteOnDevice").empty();
  return !is_passthrough_port && route.value("GatewayOnlink").empty();
}

static void read_own_route(Section& section, InterfaceFacts& facts) {
  const bool is_leased = section.value("Gateway") == "_dhcp";
  const std::string gateway = section.read("Gateway", is_leased ? what::kAddress : what::kGateway);
  facts.gateway = is_leased ? "" : gateway;
  facts.metric = section.read("Metric", what::kMetric);
  // The subnet of the address, which stands there in place of a gateway.
  section.read("Destination", what::kAddress);
  section.read("Destination", what::kGateway);
}

static void read_static_route(Section& section, InterfaceFacts& facts) {
  const std::string destination = section.value("Destination");
  const std::string gateway = section.value("Gateway");
  const std::string metric = section.value("Metric");
  std::string route = destination.empty() ? "anywhere" : destination;
  if (!gateway.empty()) route += " by " + gateway;
  if (!metric.empty()) route += ", metric " + metric;
  facts.routes.insert(route);
  section.read_whole(what::kRoute + route);
}

static void read_network_unit(std::vector<Section>& sections, InterfaceFacts& facts) {
  const Section* network = nullptr;
  bool is_first_route = true;
  for (Section& section : sections) {
    if (section.name == "[Link]") facts.mtu = section.read("MTUBytes", what::kMtu);
    if (section.name == "[Network]") {
      network = &section;
      read_network_section(section, facts);
    }
    if (section.name == "[Address]")
      facts.secondary_address = section.read("Address", what::kSecondaryAddress);
    if (section.name == "[DHCPv4]") facts.metric = section.read("RouteMetric", what::kMetric);
    if (section.name != "[Route]") continue;
    if (is_first_route && is_own_route(network, section, facts)) {
      read_own_route(section, facts);
    } else {
      read_static_route(section, facts);
    }
    is_first_route = false;
    facts.route_sections.push_back({section.value("Destination"), section.value("Gateway"),
                                    section.value("Metric"), section.value("Table")});
  }
  // The bare unit of a pass-through port whose link is not up.
  facts.is_passed_through |= network == nullptr;
}

static void read_device_unit(std::vector<Section>& sections, InterfaceFacts& facts) {
  facts.is_made = true;
  for (Section& section : sections) {
    if (section.name == "[NetDev]") {
      facts.description = section.read("Description", what::kNumber);
      const std::string mtu = section.read("MTUBytes", what::kMtu);
      if (facts.mtu.empty()) facts.mtu = mtu;
    }
    if (section.name != "[Tunnel]") continue;
    facts.remote = section.read("Remote", what::kRemote);
    facts.local = section.read("Local", what::kLocal);
  }
}

static bool is_unit(const File& file) {
  return file.path.rfind(kUnitDir, 0) == 0;
}

static void read_unit_file(const std::vector<std::string>& lines, std::vector<std::set<Topic>>& topics,
                           Facts& facts) {
  std::vector<Section> sections = read_unit(lines, topics);
  if (sections.empty()) return;
  InterfaceFacts& interface = facts.interfaces[sections.front().interface];
  if (sections.front().name == "[NetDev]") {
    read_device_unit(sections, interface);
  } else {
    read_network_unit(sections, interface);
  }
}

// The name in the heading of a section, which was written with `format`; nothing in any other line.
static std::string name_in_heading(const std::string& line, const char* format) {
  const std::string heading = format;
  const std::size_t begin = heading.find('#');
  const std::string words = heading.substr(begin, heading.find('%') - begin);
  return line.compare(0, words.size(), words) == 0 ? line.substr(words.size()) : std::string();
}

namespace {

class DnsmasqReader {
 public:
  explicit DnsmasqReader(Facts& facts) : facts_(facts) {}

  void read(const std::string& line, std::set<Topic>& topics) {
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

 private:
  void read_range(const std::vector<std::string>& values, std::set<Topic>& topics) {
    const std::string& interface = values[0];
    DhcpFacts& server = facts_.servers[interface];
    server.range = join(server.range, values[1] + "-" + values[2], " and ");
    server.lease_time = join(server.lease_time, values[3], " and ");
    topics = {{interface, what::kServer}, {interface, what::kRange}, {interface, what::kLeaseTime}};
  }

  // Most options follow from the address of the interface: clients get it as router and DNS server.
  void read_option(const std::vector<std::string>& values, std::set<Topic>& topics) {
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

  // No directive tells the leases of a server from the line in front of the range of a pass-through port.
  void read_host(const std::vector<std::string>& values, std::set<Topic>& topics) {
    if (name_in_heading(heading_, kDhcpServerHeading).empty()) return;
    facts_.static_leases[values[0]] = join(facts_.static_leases[values[0]], values[1], " and ");
    topics = {{subject::kDevice + values[0], what::kStaticLease}};
  }

  // dnsmasq relays what arrives on the interface with the local address. Where no unit of the files has that
  // address, the heading names the interface.
  void read_relay(const std::vector<std::string>& values, std::set<Topic>& topics) {
    std::string interface = interface_with(values[0]);
    if (interface.empty()) interface = name_in_heading(heading_, kDhcpRelayHeading);
    facts_.relays[interface].insert(values[1]);
    topics = {{interface, what::kRelay + values[1]}, {interface, what::kAddress}};
  }

  std::string interface_with(const std::string& address) const {
    for (const auto& [name, interface] : facts_.interfaces)
      if (interface.address.substr(0, interface.address.find('/')) == address) return name;
    return {};
  }

  Facts& facts_;
  std::string heading_;  // the last comment
};

}  // namespace

static void read_hosts_line(const std::string& line, std::set<Topic>& topics, Facts& facts) {
  const std::vector<std::string> words = words_of(line.substr(0, line.find('#')));
  for (std::size_t number = 1; number < words.size(); ++number) {
    const std::string& name = words[number];
    facts.names[name] = join(facts.names[name], words[0], " and ");
    topics.insert({subject::kName + name, what::kAddress});
  }
}

static void read_resolver_line(const std::string& line, std::set<Topic>& topics, Facts& facts) {
  const std::vector<std::string> words = words_of(line);
  if (words.size() < 2 || words[0] != "nameserver") return;
  facts.name_servers = join(facts.name_servers, words[1], ", ");
  topics = {{subject::kGateway, what::kNameServers}};
}

// A command or a line of a script. "ip route" names the destination of a route, and all others an interface.
static void read_command(const std::string& line, std::set<Topic>& topics, Facts& facts) {
  const std::vector<std::string> words = words_of(line);
  if (words.size() == 4 && words[1] == "tunnel" && words[2] == "del") facts.deleted_tunnels.insert(words[3]);
  for (const std::string& word : words) {
    topics.insert({word, what::kPresence});
    topics.insert({word, what::kKind});
  }
  for (std::size_t number = 1; number < words.size(); ++number) {
    if (words[number - 1] != "dev") continue;
    for (const std::string& word : words)
      topics.insert({words[number], what::kRoute + word});
  }
}

// Only units have headings; no other line begins like one.
static bool is_layout(const std::string& line) {
  return line.empty() || line[0] == '#' || line[0] == '[';
}

static void read_file(const File& file, Facts& facts) {
  const std::vector<std::string> lines = split(file.content, '\n');
  std::vector<std::set<Topic>>& topics = facts.topics[file.path];
  for (const std::string& line : lines)
    topics.push_back(is_layout(line) ? std::set<Topic>{{file.path, what::kLayout}} : std::set<Topic>());
  if (is_unit(file)) {
    read_unit_file(lines, topics, facts);
    return;
  }
  DnsmasqReader dnsmasq(facts);
  for (std::size_t number = 0; number < lines.size(); ++number) {
    if (file.path == kDnsmasqConf) {
      dnsmasq.read(lines[number], topics[number]);
    } else if (file.path == kHostsFile) {
      read_hosts_line(lines[number], topics[number], facts);
    } else if (file.path == kResolvConf) {
      read_resolver_line(lines[number], topics[number], facts);
    } else if (!is_layout(lines[number])) {
      read_command(lines[number], topics[number], facts);
    }
  }
}

FilesByPath by_path(const std::vector<File>& files) {
  FilesByPath result;
  for (const File& file : files)
    result[file.path] = file;
  return result;
}

Facts read_facts(const FilesByPath& files) {
  Facts facts;
  // The units first: the addresses of the interfaces explain lines for dnsmasq.
  for (const bool reads_units : {true, false}) {
    for (const auto& [path, file] : files)
      if (is_unit(file) == reads_units) read_file(file, facts);
  }
  return facts;
}

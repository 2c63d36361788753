#include "cli/compare/facts.h"

#include "cli/compare/command_facts.h"
#include "cli/compare/dnsmasq_facts.h"
#include "cli/compare/fields.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "networkd/unit_file.h"

namespace {

// A line "key = value" of a unit.
struct Directive {
  std::string key;
  std::string value;
  std::set<Topic>* topics;
};

struct Section {
  std::string name;
  std::string interface;  // the interface of the unit
  std::vector<Directive> directives;

  // The last value of the key; empty if the key is missing.
  std::string value(const std::string& key) const {
    std::string value;
    for (const Directive& directive : directives)
      if (directive.key == key) value = directive.value;
    return value;
  }

  // The last value of the key, as value() returns it. Adds the fact to the topics of the key's lines.
  std::string read(const std::string& key, const std::string& fact) {
    for (Directive& directive : directives)
      if (directive.key == key) explain(directive, fact);
    return value(key);
  }

  // Adds one fact to the topics of all lines of the section.
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

// Reads the sections of a unit. A line has the topic kKind until explain() replaces it with a fact that has
// been read from the line.
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
  facts.proxies_arp = section.value("IPv4ProxyARP") == "yes";
  facts.is_passed_through = facts.proxies_arp;
  facts.is_default_route = section.value("DefaultRouteOnDevice") == "yes";
  facts.forwards = section.read("IPForward", what::kForwarding) == "yes";
  section.read("DNS", what::kNameServers);
  for (Directive& directive : section.directives) {
    if (directive.key == "DNS") facts.name_servers = join(facts.name_servers, directive.value, ", ");
    if (directive.key != "VLAN") continue;
    facts.vlans.insert(directive.value);
    directive.topics->insert({directive.value, what::kPresence});
    directive.topics->insert({directive.value, what::kLink});
  }
}

// The bridge passes the VLANs that are linked to it: a change of such a VLAN explains its
// [BridgeVLAN] section.
static void read_bridge_vlan(Section& section, const InterfaceFacts& facts) {
  for (Directive& directive : section.directives) {
    for (const std::string& vlan : facts.vlans) {
      if (vlan.substr(vlan.rfind('.') + 1) != directive.value) continue;
      directive.topics->insert({vlan, what::kPresence});
      directive.topics->insert({vlan, what::kLink});
    }
  }
}

// Whether the first [Route] section belongs to the interface's address: a route through its gateway or,
// without a gateway, to its subnet. Tunnels, whose routes all have GatewayOnlink, and pass-through ports,
// behind which there is a single device, do not have such a route.
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
  // Without a gateway, the destination is the subnet of the address.
  section.read("Destination", what::kAddress);
  section.read("Destination", what::kGateway);
}

static void read_static_route(Section& section, InterfaceFacts& facts) {
  const std::string destination = section.value("Destination");
  const std::string gateway = section.value("Gateway");
  const std::string metric = section.value("Metric");
  std::string route = destination.empty() ? "anywhere" : destination;
  if (!gateway.empty()) route += " via " + gateway;
  if (!metric.empty()) route += ", metric " + metric;
  facts.routes.insert(route);
  section.read_whole(what::kRoute + route);
}

static void read_rule(const Section& section, InterfaceFacts& facts) {
  facts.rules.push_back({section.value("Table"), section.value("FirewallMark"),
                         section.value("InvertRule") == "true", section.value("SuppressPrefixLength")});
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
    if (section.name == "[BridgeVLAN]") read_bridge_vlan(section, facts);
    if (section.name == "[DHCPv4]") facts.metric = section.read("RouteMetric", what::kMetric);
    if (section.name == "[RoutingPolicyRule]") read_rule(section, facts);
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
  // Only a pass-through port has a unit without [Network], while the cellular link is down.
  facts.is_passed_through |= network == nullptr;
}

static void read_device_unit(std::vector<Section>& sections, InterfaceFacts& facts) {
  facts.is_made = true;
  for (Section& section : sections) {
    if (section.name == "[NetDev]") {
      facts.kind = section.value("Kind");
      facts.is_tunnel = facts.kind == "gre";
      facts.is_bridge = facts.kind == "bridge";
      facts.description = section.read("Description", what::kDescription);
      const std::string mtu = section.read("MTUBytes", what::kMtu);
      if (facts.mtu.empty()) facts.mtu = mtu;
    }
    if (section.name == "[VLAN]") facts.vlan_id = section.value("Id");
    if (section.name != "[Tunnel]") continue;
    facts.remote = section.read("Remote", what::kRemote);
    facts.local = section.read("Local", what::kLocal);
    facts.copies_dscp = section.read("CopyDSCP", what::kDscp) == "yes";
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

// The only command of a script that has nothing to do.
constexpr char kNothingToDo[] = "echo OK";

// Whether the line is blank, a comment, a section heading or kNothingToDo. Only units contain lines that
// begin with a bracket.
static bool is_layout(const std::string& line) {
  return line.empty() || line[0] == '#' || line[0] == '[' || line == kNothingToDo;
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
      read_command(file.path, lines[number], topics[number], facts);
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
  // Units are read first, since the reader of dnsmasq.conf needs the addresses of the interfaces.
  for (const bool reads_units : {true, false}) {
    for (const auto& [path, file] : files)
      if (is_unit(file) == reads_units) read_file(file, facts);
  }
  return facts;
}

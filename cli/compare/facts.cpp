#include "cli/compare/facts.h"

#include <sstream>

#include "dnsmasq/dnsmasq_conf.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "networkd/unit_file.h"

namespace {

// A section of a unit, with the last value of each key.
struct Section {
  std::string name;
  std::map<std::string, std::string> values;

  std::string value(const std::string& key) const {
    const auto found = values.find(key);
    return found != values.end() ? found->second : std::string();
  }
};

}  // namespace

static std::string without_blanks(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

static std::vector<Section> read_unit(const std::string& content) {
  std::vector<Section> sections;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (!line.empty() && line[0] == '[') {
      sections.push_back({line, {}});
    } else if (equals != std::string::npos && !sections.empty()) {
      sections.back().values[without_blanks(line.substr(0, equals))] =
          without_blanks(line.substr(equals + 1));
    }
  }
  return sections;
}

static std::string join(const std::string& list, const std::string& item, const char* separator) {
  return list.empty() ? item : list + separator + item;
}

static void read_network_section(const Section& section, InterfaceFacts& facts) {
  facts.address = section.value("DHCP").empty() ? section.value("Address") : kDynamicAddress;
  facts.bridge = section.value("Bridge");
  facts.is_passed_through = section.value("IPv4ProxyARP") == "yes";
  facts.forwards = section.value("IPForward") == "yes";
}

// The interface's own route has a gateway or, being that of its subnet, a destination; any other has both.
static void read_route_section(const Section& section, InterfaceFacts& facts) {
  const std::string gateway = section.value("Gateway");
  const std::string destination = section.value("Destination");
  const std::string metric = section.value("Metric");
  facts.route_sections.push_back({destination, gateway, metric, section.value("Table")});
  const bool is_static = section.value("GatewayOnlink") == "yes" || section.value("Scope") == "host";
  if (!is_static && facts.routes.empty() && facts.gateway.empty() &&
      (gateway.empty() || destination.empty())) {
    facts.gateway = gateway == "_dhcp" ? "" : gateway;
    facts.metric = metric;
    return;
  }
  std::string route = destination.empty() ? "anywhere" : destination;
  if (!gateway.empty()) route += " by " + gateway;
  if (!metric.empty()) route += ", metric " + metric;
  facts.routes.insert(route);
}

static void read_network_unit(const std::vector<Section>& sections, InterfaceFacts& facts) {
  bool has_network = false;
  for (const Section& section : sections) {
    if (section.name == "[Link]") facts.mtu = section.value("MTUBytes");
    if (section.name == "[Network]") read_network_section(section, facts);
    if (section.name == "[Address]") facts.secondary_address = section.value("Address");
    if (section.name == "[Route]") read_route_section(section, facts);
    if (section.name == "[DHCPv4]") facts.metric = section.value("RouteMetric");
    has_network |= section.name == "[Network]";
  }
  // The bare unit of a pass-through port whose link is not up.
  facts.is_passed_through |= !has_network;
}

static void read_device_unit(const std::vector<Section>& sections, InterfaceFacts& facts) {
  facts.is_made = true;
  for (const Section& section : sections) {
    if (section.name == "[NetDev]") facts.description = section.value("Description");
    if (section.name == "[NetDev]" && facts.mtu.empty()) facts.mtu = section.value("MTUBytes");
    if (section.name != "[Tunnel]") continue;
    facts.remote = section.value("Remote");
    facts.local = section.value("Local");
  }
}

static void read_unit_file(const File& file, Facts& facts) {
  const std::vector<Section> sections = read_unit(file.content);
  if (sections.empty()) return;
  InterfaceFacts& interface = facts.interfaces[sections.front().value("Name")];
  if (sections.front().name == "[NetDev]") {
    read_device_unit(sections, interface);
  } else {
    read_network_unit(sections, interface);
  }
}

static std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(text);
  for (std::string field; std::getline(stream, field, separator);)
    fields.push_back(field);
  return fields;
}

static void read_dnsmasq(const std::string& content, Facts& facts) {
  // What the comment in front of a section says.
  constexpr char kServer[] = "# DHCP server on ";
  constexpr char kRelay[] = "# DHCP relay on ";
  std::string section;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    const std::string key = line.substr(0, equals);
    const std::vector<std::string> values =
        split(equals != std::string::npos ? line.substr(equals + 1) : std::string(), ',');
    if (!line.empty() && line[0] == '#') section = line;
    if (key == "dhcp-range" && values.size() >= 4) {
      facts.servers[values[0]] = {values[1] + "-" + values[2], values[3]};
    } else if (key == "dhcp-host" && values.size() == 2 && section.rfind(kServer, 0) == 0) {
      facts.fixed_leases[values[0]] = values[1];
    } else if (key == "dhcp-relay" && values.size() == 2 && section.rfind(kRelay, 0) == 0) {
      facts.relays[section.substr(sizeof kRelay - 1)].insert(values[1]);
    }
  }
}

static void read_hosts(const std::string& content, Facts& facts) {
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string address;
    words >> address;
    for (std::string name; words >> name;)
      facts.names[name] = join(facts.names[name], address, " and ");
  }
}

static void read_resolver(const std::string& content, Facts& facts) {
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string key;
    std::string server;
    if (words >> key >> server && key == "nameserver")
      facts.name_servers = join(facts.name_servers, server, ", ");
  }
}

Facts read_facts(const std::vector<File>& files) {
  Facts facts;
  for (const File& file : files) {
    if (file.path.rfind(kUnitDir, 0) == 0) read_unit_file(file, facts);
    if (file.path == kDnsmasqConf) read_dnsmasq(file.content, facts);
    if (file.path == kHostsFile) read_hosts(file.content, facts);
    if (file.path == kResolvConf) read_resolver(file.content, facts);
  }
  return facts;
}

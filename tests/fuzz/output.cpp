#include "output.h"

#include <cctype>
#include <set>
#include <sstream>
#include <vector>

#include "check.h"

constexpr char kDnsmasqHead[] = "# Configuration file for dnsmasq\n\n";
const char kDnsmasqEnd[] = "\n# For dynhost support\nno-hosts\naddn-hosts=/var/run/hosts\n\n";

// The sections that an interface has several of, and the keys of a section that add up.
static const std::set<std::string> kRepeatedSections = {"[Address]", "[BridgeVLAN]", "[Route]",
                                                        "[RoutingPolicyRule]", "[WireGuardPeer]"};
static const std::set<std::string> kRepeatedKeys = {"DNS", "VLAN"};

static std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

static bool begins_with(const std::string& line, const std::string& beginning) {
  return line.compare(0, beginning.size(), beginning) == 0;
}

static bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static std::string key_of(const std::string& line) {
  std::size_t size = 0;
  while (size < line.size() && std::isalnum(static_cast<unsigned char>(line[size])) != 0)
    ++size;
  const std::string rest = line.substr(size);
  check(size > 0 && (begins_with(rest, " = ") || rest[0] == '='), "a line of a unit is no setting");
  return line.substr(0, size);
}

void check_unit(const std::string& text) {
  check(begins_with(text, "[Match]\n") || begins_with(text, "[NetDev]\n"),
        "a unit without its first section");
  check(ends_with(text, "\n"), "a unit without its last line end");
  std::set<std::string> sections;
  std::set<std::string> keys;
  for (const std::string& line : lines_of(text)) {
    if (line.empty()) continue;
    if (line[0] == '[') {
      const bool is_first = sections.insert(line).second;
      check(is_first || kRepeatedSections.count(line) != 0, "a doubled section");
      keys.clear();
      continue;
    }
    const std::string key = key_of(line);
    const bool is_first = keys.insert(key).second;
    check(is_first || kRepeatedKeys.count(key) != 0, "a doubled line in a unit");
  }
}

// The directive of a line; of an option of an interface, with its number: "dhcp-option 3".
static std::string directive_of(const std::string& line) {
  const std::string directive = line.substr(0, line.find('='));
  const std::size_t comma = line.find(',');
  if (directive != "dhcp-option" || comma == std::string::npos) return directive;
  return directive + " " + line.substr(comma + 1, line.find(',', comma + 1) - comma - 1);
}

void check_dnsmasq_conf(const std::string& text) {
  static const std::set<std::string> known = {
      "domain-needed", "user",       "bogus-priv",     "bind-dynamic", "local-service",
      "no-hosts",      "quiet-dhcp", "dhcp-leasefile", "read-ethers",  "dhcp-authoritative",
      "resolv-file",   "dhcp-range", "dhcp-option 1",  "addn-hosts",   "dhcp-option 3",
      "dhcp-relay",    "dhcp-host",  "dhcp-option 6"};
  check(begins_with(text, kDnsmasqHead), "the dnsmasq configuration has no beginning");
  check(ends_with(text, kDnsmasqEnd), "the dnsmasq configuration is not complete");
  std::set<std::string> section;
  for (const std::string& line : lines_of(text)) {
    if (line[0] == '#') section.clear();
    if (line.empty() || line[0] == '#') continue;
    const std::string directive = directive_of(line);
    check(known.count(directive) != 0, "an unknown directive of dnsmasq");
    const bool is_first = section.insert(directive).second;
    check(is_first || directive == "dhcp-host", "a doubled line in the dnsmasq configuration");
  }
}

void check_script(const std::string& text, const std::string& first_line, const std::string& command) {
  check(begins_with(text, first_line), "a script without its first line");
  check(text.empty() || ends_with(text, "\n"), "a script without its last line end");
  for (const std::string& line : lines_of(text.substr(first_line.size())))
    check(begins_with(line, command), "a script with another command");
}

// Runs every operation on the recording platform, with a configuration that is generated from the bytes of an
// input and may have any path that the program reads. The runtime files may have any content, files may be
// unwritable, and the disk may be full: outputs must be complete, or failures must be reported.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "check.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "driver/apply.h"
#include "driver/load.h"
#include "file_size_limit.h"
#include "generator.h"
#include "libcmd/text_policy.h"
#include "platform/libcmd.h"
#include "qos/dscp_classes.h"
#include "recording_platform.h"
#include "tunnels/gre.h"
#include "tunnels/wireguard.h"

namespace fs = std::filesystem;

constexpr char kUnits[] = "/var/run/systemd/network";
constexpr char kStaging[] = "/var/volatile/qel/.dnsmasq_conf";
constexpr char kDnsmasqHead[] = "# Configuration file for dnsmasq\n\n";
constexpr char kDnsmasqEnd[] = "\n# For dynhost support\nno-hosts\naddn-hosts=/var/run/hosts\n\n";

static std::string text_of_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// --- The state before a run

// Creates a runtime file with more or less valid content, a directory instead of the file, or nothing.
static void put_runtime_file(Generator& generator, const std::string& path, const std::string& plausible) {
  if (generator.one_in(8)) return;
  if (generator.one_in(20)) {
    fs::create_directory(path);
  } else {
    std::ofstream(path, std::ios::binary) << generator.file_content(plausible);
  }
}

static void put_runtime_files(Generator& generator) {
  put_runtime_file(generator, "/var/run/wwan_intf", "wwan0");
  put_runtime_file(generator, "/var/run/wwan_ipv4", "10.20.30.40");
  put_runtime_file(generator, "/var/run/wwan_cidr", "30");
  put_runtime_file(generator, "/var/run/wwan_netmask", "255.255.255.252");
  put_runtime_file(generator, "/var/run/wwan_gw", "10.20.30.41");
  put_runtime_file(generator, "/var/run/wwan_mtu", "1430");
  put_runtime_file(generator, "/var/run/wwan_dns1", "10.0.0.1");
  put_runtime_file(generator, "/var/run/wwan_dns2", "10.0.0.2");
  for (const char* link : {"wg0", "wg1", "wg2"}) {
    put_runtime_file(generator, std::string("/var/data/qel/.wg/") + link + "-private.key",
                     "YAnz5TF+lXXJte14tji3zlMNftTL9gGmMx3HGn9Xk0A=");
  }
}

// Replaces some files that the program writes with directories.
static void block_outputs(Generator& generator) {
  if (!generator.one_in(4)) return;
  for (const char* path :
       {"/var/run/hosts", "/var/run/resolv.conf", "/var/run/post_networkd_start_actions_script",
        "/var/run/.delete_interfaces", "/var/run/.delete_static_routes", "/var/run/wwan0_static_routes",
        "/var/volatile/qel/.dnsmasq_conf", "/var/run/systemd/network/20-eth0.network",
        "/var/run/systemd/network/21-eth1.network", "/var/run/systemd/network/80-wlan0.network",
        "/var/run/systemd/network/79-br-lan.network", "/var/run/systemd/network/10-wwan0.network",
        "/var/run/systemd/network/70-gre-tun1.netdev", "/var/run/systemd/network/44-wireguard.network"}) {
    if (generator.one_in(4)) fs::create_directories(path);
  }
}

static void lay_ground(Generator& generator) {
  for (const char* directory : {"/run", "/var/volatile", "/var/data"}) {
    for (const auto& entry : fs::directory_iterator(directory))
      fs::remove_all(entry);
  }
  fs::create_directories("/var/volatile/qel");
  fs::create_directories("/var/data/qel/.wg");
  if (!generator.one_in(20)) fs::create_directories(kUnits);
  put_runtime_files(generator);
  block_outputs(generator);
}

// Removes the networks of VLANs with a negative ID. Only these have a name that is too long for the kernel,
// and a DHCP server on such a VLAN intentionally aborts the program.
static void spare_impossible_vlan_names(Json::Value& network) {
  for (const char* port : {"eth0", "eth1"}) {
    Json::Value* vlans = &network;
    for (const char* key : {"wired", port, "network", "advanced", "vlan", "networks"}) {
      if (!vlans->isObject() || !vlans->isMember(key)) break;
      vlans = &(*vlans)[key];
    }
    if (!vlans->isArray()) continue;
    for (Json::Value& vlan : *vlans) {
      int vid = 0;
      if (config_get_int(vlan, &vid, "vid") && vid < 0) vlan.removeMember("network");
    }
  }
}

namespace {

struct Configuration {
  Json::Value network;
  Json::Value wireguard;
  Json::Value gre_tap;

  // Whether the host platform accepts the configuration. Otherwise, the lines of the files are not checked.
  bool is_let_in() const {
    return find_refused_texts(network).empty() && find_refused_texts(wireguard).empty() &&
           find_refused_texts(gre_tap).empty();
  }
};

}  // namespace

static Configuration configure_device(Generator& generator) {
  platform() = RecordingPlatform();
  Configuration configuration{generator.value("@network"), {}, generator.value("@gre_tap")};
  spare_impossible_vlan_names(configuration.network);
  platform().configuration["network"] = configuration.network;
  if (!generator.one_in(8)) {
    configuration.wireguard = generator.value("@wireguard");
    platform().configuration["network.tunnels.wireguard"] = configuration.wireguard;
  }
  if (!generator.one_in(3)) platform().database["CELL_CONNECTED"] = 1;
  if (generator.one_in(2)) platform().active_services.insert("systemd-networkd");
  if (generator.one_in(2)) platform().resolvable["host.example"] = "10.9.8.7";
  platform().mac_addresses["eth0"] = "02:00:5e:00:00:10";
  return configuration;
}

// --- Checks after a run

static bool recorded(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

static bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

static bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static bool is_about_lost_unit(const std::string& line, const std::string& name) {
  const std::string path = std::string(kUnits) + "/" + name;
  return contains(line, "error creating network unit file: " + path) ||
         contains(line, "error writing " + path);
}

// Whether a unit that APPLY requires was lost. False if the cellular step began to write its units, because
// it writes some of them again.
static bool lost_required_unit() {
  for (const std::string& line : platform().log) {
    if (contains(line, std::string("write unit file:") + kUnits + "/10-")) return false;
    for (const char* name : {"20-eth0.network", "21-eth1.network", "79-", "80-"}) {
      if (is_about_lost_unit(line, name)) return true;
    }
  }
  return false;
}

static bool lost_wwan_unit() {
  const auto& log = platform().log;
  return std::any_of(log.begin(), log.end(),
                     [](const std::string& line) { return is_about_lost_unit(line, "10-"); });
}

static void check_apply(const NetworkContext& ctx, bool pulse) {
  platform().calls.clear();
  platform().log.clear();
  const int status = apply(&ctx, pulse);
  check(status == 0 || status == -1, "apply returned neither 0 nor -1");
  const bool succeeded = recorded(platform().log, "notice cmd lanfab apply OK");
  const bool failed = recorded(platform().log, "notice cmd lanfab apply FAILED");
  check(succeeded == (status == 0) && failed == (status != 0), "apply logged another end than it returned");
  const bool networkd = recorded(platform().calls, "execute_systemctl_start systemd-networkd") ||
                        recorded(platform().calls, "execute_systemctl_restart systemd-networkd");
  check(networkd == (status == 0), "systemd-networkd must be started exactly when apply succeeds");
  check(status != 0 || !lost_required_unit(), "apply succeeded without a unit that it must write");
}

static void check_wwan_apply(const NetworkContext& ctx) {
  platform().log.clear();
  const int status = wwan_apply(&ctx);
  check(status == 0 || status == -1, "wwan_apply returned neither 0 nor -1");
  check(status != 0 || !lost_wwan_unit(), "wwan_apply succeeded without its unit");
}

static void check_dnsmasq(const NetworkContext& ctx) {
  platform().calls.clear();
  platform().log.clear();
  check(dnsmasq_apply(&ctx) == 0, "dnsmasq_apply failed");
  const bool is_in_place =
      recorded(platform().calls, std::string("/bin/cp -f ") + kStaging + " /var/run/dnsmasq.conf");
  const bool is_lost = recorded(platform().log, "notice error on dnsmasq apply");
  check(is_in_place != is_lost, "a dnsmasq configuration is neither in place nor lost");
  if (!is_in_place) return;
  check(ends_with(text_of_file(kStaging), kDnsmasqEnd), "the dnsmasq configuration is not complete");
}

// --- The lines of a file, if no string of the configuration contains a newline

// Sections that may occur several times in a unit, and keys that may occur several times in a section.
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

static std::string key_of(const std::string& line) {
  std::size_t size = 0;
  while (size < line.size() && std::isalnum(static_cast<unsigned char>(line[size])) != 0)
    ++size;
  const std::string rest = line.substr(size);
  check(size > 0 && (begins_with(rest, " = ") || rest[0] == '='), "a line of a unit is no setting");
  return line.substr(0, size);
}

// Checks a unit: it must consist of sections with lines "Key = value", and only sections and keys that
// systemd accumulates may be repeated.
static void check_unit(const std::string& text) {
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

// Returns the directive of a line; a DHCP option includes its number, as in "dhcp-option 3".
static std::string directive_of(const std::string& line) {
  const std::string directive = line.substr(0, line.find('='));
  const std::size_t comma = line.find(',');
  if (directive != "dhcp-option" || comma == std::string::npos) return directive;
  return directive + " " + line.substr(comma + 1, line.find(',', comma + 1) - comma - 1);
}

// Checks dnsmasq's configuration: it must be complete, have only known directives, and repeat none of them
// except dhcp-host in a section.
static void check_dnsmasq_conf(const std::string& text) {
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

// Checks a script: it must begin with `first_line`, which may be empty, and all other lines with `command`.
static void check_script(const std::string& text, const std::string& first_line, const std::string& command) {
  check(begins_with(text, first_line), "a script without its first line");
  check(text.empty() || ends_with(text, "\n"), "a script without its last line end");
  for (const std::string& line : lines_of(text.substr(first_line.size())))
    check(begins_with(line, command), "a script with another command");
}

// Checks the lines of every file. No string of the configuration may contain a newline.
static void check_files() {
  if (fs::is_directory(kUnits)) {
    for (const auto& entry : fs::directory_iterator(kUnits)) {
      if (entry.is_regular_file()) check_unit(text_of_file(entry));
    }
  }
  if (fs::is_regular_file(kStaging)) check_dnsmasq_conf(text_of_file(kStaging));
  const std::string routes = "/var/run/.delete_static_routes";
  if (fs::is_regular_file(routes)) check_script(text_of_file(routes), "#!/bin/sh\n", "/sbin/ip route del ");
  const std::string wwan_routes = "/var/run/wwan0_static_routes";
  if (fs::is_regular_file(wwan_routes)) {
    check_script(text_of_file(wwan_routes), "#!/bin/sh\n", "/sbin/ip route add ");
  }
  const std::string links = "/var/run/.delete_interfaces";
  if (fs::is_regular_file(links)) check_script(text_of_file(links), "", "/sbin/ip link delete dev ");
}

static int lowest_free_descriptor() {
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(descriptor);
  return descriptor;
}

static void run_all_operations(Generator& generator, const Configuration& configuration) {
  // In some runs, no file can be larger than this limit.
  const auto full_disk =
      generator.one_in(8) ? std::make_unique<FileSizeLimit>(generator.below(1024)) : nullptr;
  const auto ctx = load_network_context(generator.one_in(2));
  ctx->trace = generator.one_in(2);
  check(is_initialized(ctx.get()), "the configuration was not loaded");
  check_apply(*ctx, generator.one_in(2));
  check_wwan_apply(*ctx);
  check_dnsmasq(*ctx);
  check(wireguard_apply(ctx.get()) == 0, "wireguard_apply failed");
  gre_tap_apply(ctx.get(), configuration.gre_tap);
  check(qos_lookup_dscp_classes(ctx.get()) == 0, "qos_lookup_dscp_classes failed");
}

// Discards the standard output of the operations. Returns whether that succeeded.
static bool silence_standard_output() {
  return std::freopen("/dev/null", "w", stdout) != nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool is_silent = fs::exists("/dev/sandbox") && silence_standard_output();
  check(is_silent, "start it through tests/support/sandbox or ctest");
  Generator generator(data, size);
  lay_ground(generator);
  const Configuration configuration = configure_device(generator);
  const int descriptor = lowest_free_descriptor();
  run_all_operations(generator, configuration);
  check(lowest_free_descriptor() == descriptor, "a stream was never closed");
  if (configuration.is_let_in()) check_files();
  return 0;
}

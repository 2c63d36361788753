// random_json [SEED [ROUNDS]]: runs every operation of the program on random configurations, with random
// runtime files, and prints the seed of a round that ends otherwise than it should. No configuration makes
// the program throw, abort or touch memory that is not its own.
//
// To see a failing round again: tests/support/sandbox build/.../random_json SEED 1

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "config/network_context.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "driver/apply.h"
#include "generator.h"
#include "platform/libcmd.h"
#include "qos/dscp_classes.h"
#include "recording_platform.h"
#include "test_files.h"
#include "tunnels/gre.h"
#include "tunnels/wireguard.h"

namespace fs = std::filesystem;

static void expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "random_json: %s\n", what);
  std::exit(1);
}

// --- The ground of a round

// What a file of the link manager may be: missing, a folder, or a file with more or less sense in it.
static void put_runtime_file(Generator& generator, const std::string& path, const std::string& plausible) {
  if (generator.one_in(8)) return;
  if (generator.one_in(20)) {
    fs::create_directory(path);
  } else {
    put_file(path, generator.file_content(plausible));
  }
}

static void put_runtime_files(Generator& generator) {
  for (const char* folder : {"/run", "/var/volatile", "/var/data"})
    empty_directory(folder);
  fs::create_directories("/var/volatile/qel");
  fs::create_directories("/var/data/qel/.wg");
  if (!generator.one_in(20)) fs::create_directories("/var/run/systemd/network");
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

// A DHCP server on a VLAN whose name is longer than the kernel's names ends the program on purpose; such
// VLANs, all of which have a negative id, go without.
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

static void configure_device(Generator& generator) {
  platform() = RecordingPlatform();
  Json::Value network = generator.value("@network");
  spare_impossible_vlan_names(network);
  platform().configuration["network"] = network;
  if (!generator.one_in(8)) {
    platform().configuration["network.tunnels.wireguard"] = generator.value("@wireguard");
  }
  if (!generator.one_in(3)) platform().database["CELL_CONNECTED"] = 1;
  if (generator.one_in(2)) platform().active_services.insert("systemd-networkd");
  if (generator.one_in(2)) platform().resolvable["host.example"] = "10.9.8.7";
  platform().hardware_addresses["eth0"] = "02:00:5e:00:00:10";
}

// --- The operations

static bool recorded(const std::vector<std::string>& lines, const char* line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

static void check_apply(const NetworkContext& ctx, bool pulse) {
  platform().calls.clear();
  const int status = apply(&ctx, pulse);
  expect(status == 0 || status == -1, "apply returned neither 0 nor -1");
  const bool succeeded = recorded(platform().log, "notice cmd lanfab apply OK");
  const bool failed = recorded(platform().log, "notice cmd lanfab apply FAILED");
  expect(succeeded == (status == 0) && failed == (status != 0), "apply logged another end than it returned");
  const bool networkd = recorded(platform().calls, "execute_systemctl_start systemd-networkd") ||
                        recorded(platform().calls, "execute_systemctl_restart systemd-networkd");
  expect(networkd == (status == 0), "systemd-networkd must be started exactly when apply succeeds");
}

static void check_dnsmasq(const NetworkContext& ctx) {
  expect(dnsmasq_apply(&ctx) == 0, "dnsmasq_apply failed");
  const std::string text = text_of_file("/var/volatile/qel/.dnsmasq_conf");
  const std::string end = "addn-hosts=/var/run/hosts\n\n";
  expect(text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0,
         "the dnsmasq configuration is not complete");
}

static void run_round(unsigned seed) {
  Generator generator(seed);
  put_runtime_files(generator);
  configure_device(generator);
  NetworkContext ctx(generator.one_in(2));
  ctx.trace = generator.one_in(2);
  expect(is_initialized(&ctx), "the configuration was not loaded");
  check_apply(ctx, generator.one_in(2));
  wwan_apply(&ctx);
  check_dnsmasq(ctx);
  expect(wireguard_apply(&ctx) == 0, "wireguard_apply failed");
  gre_tap_apply(&ctx, generator.value("@gre_tap"));
  expect(qos_lookup_dscp_classes(&ctx) == 0, "qos_lookup_dscp_classes failed");
}

// --- The rounds

// Runs them all in a child process, which keeps its current seed where the parent finds it, however the child
// ends. Returns the exit status of this program.
static int run_rounds(unsigned first, unsigned rounds) {
  void* shared = mmap(nullptr, sizeof(unsigned), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  expect(shared != MAP_FAILED, "no memory to share");
  volatile unsigned* seed = static_cast<unsigned*>(shared);
  const pid_t child = fork();
  expect(child >= 0, "no child process");
  if (child == 0) {
    // What the operations print is of no interest.
    expect(std::freopen("/dev/null", "w", stdout) != nullptr, "no /dev/null");
    for (*seed = first; *seed - first < rounds; *seed = *seed + 1)
      run_round(*seed);
    std::exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (status == 0) return 0;
  std::fprintf(stderr, "random_json: the round with seed %u failed\n", *seed);
  return 1;
}

int main(int argc, char* argv[]) {
  expect(exists("/dev/sandbox"), "start it through tests/support/sandbox or ctest");
  const auto argument = [&](int position, unsigned default_value) {
    return argc > position ? static_cast<unsigned>(std::strtoul(argv[position], nullptr, 10)) : default_value;
  };
  return run_rounds(argument(1, 1), argument(2, 2000));
}

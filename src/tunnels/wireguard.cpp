#include "tunnels/wireguard.h"

#include <grp.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "config/lookup.h"
#include "networkd/unit_file.h"
#include "platform/libcmd.h"
#include "platform/libvantor.h"
#include "util/child_process.h"
#include "util/format.h"
#include "util/open_file.h"

constexpr char kConfiguration[] = "network.tunnels.wireguard";
// The numbers in the names of the two units.
constexpr char kUnitName[] = "wireguard";

static int unit_order(unsigned index) {
  return 44 + static_cast<int>(index);
}

// Opens the unit that contains the private key. Only root and systemd-networkd can ever read it: it replaces
// that of the previous run, which another process may have open.
static OpenFile open_private_unit_file(const NetworkContext* ctx, unsigned index) {
  delete_file(unit_file_path(unit_order(index), kUnitName, "netdev").c_str());
  const mode_t mask = umask(0077);
  OpenFile file = open_unit_file(ctx, unit_order(index), kUnitName, "netdev");
  umask(mask);
  if (!file) return file;
  // Without the group, or the permission to set it, only root can read the file.
  if (const group* networkd = getgrnam("systemd-network")) {
    [[maybe_unused]] const int status = fchown(file.descriptor(), static_cast<uid_t>(-1), networkd->gr_gid);
  }
  fchmod(file.descriptor(), 0640);
  return file;
}

// Returns the string at `key`; nothing if it is missing or empty.
static std::optional<std::string> filled_text_at(const Json::Value& peer, const char* key) {
  const auto text = string_at(peer, key);
  return text != "" ? text : std::nullopt;
}

static WireguardPeer read_peer(const Json::Value& settings) {
  const std::optional<int> keep_alive = number_at(settings, "keep_alive");
  return {&settings,
          filled_text_at(settings, "public_key"),
          filled_text_at(settings, "endpoint"),
          string_at(settings, "allowed_ips"),
          filled_text_at(settings, "preshared_key"),
          keep_alive.value_or(0) > 0 ? keep_alive : std::nullopt};
}

static WireguardInterface read_interface(unsigned index, const Json::Value& settings) {
  WireguardInterface interface {
    &settings, index, string_at(settings, "local_addrs"), {}
  };
  for (const Json::Value& peer : array_at(settings, "peers"))
    interface.peers.push_back(read_peer(peer));
  return interface;
}

std::vector<WireguardInterface> read_wireguard_interfaces(const Json::Value& wireguard) {
  std::vector<WireguardInterface> enabled;
  if (!is_enabled(wireguard)) return enabled;
  const Json::Value& interfaces = array_at(wireguard, "interfaces");
  for (unsigned index = 0; index < interfaces.size(); ++index) {
    if (is_enabled(interfaces[index])) enabled.push_back(read_interface(index, interfaces[index]));
  }
  return enabled;
}

bool WireguardPeer::is_written() const {
  return public_key.has_value();
}

std::vector<std::string> WireguardPeer::networks() const {
  std::vector<std::string> networks;
  for (std::size_t begin = 0; allowed_ips && begin <= allowed_ips->size();) {
    const std::size_t comma = std::min(allowed_ips->find(',', begin), allowed_ips->size());
    networks.push_back(allowed_ips->substr(begin, comma - begin));
    begin = comma + 1;
  }
  return networks;
}

static void write_peer(std::FILE* file, const WireguardPeer& peer) {
  if (!peer.is_written()) {
    syslog(LOG_NOTICE, "error, wireguard peer public key is required");
    return;
  }
  std::fprintf(file, "\n[WireGuardPeer]\n");
  std::fprintf(file, "PublicKey = %s\n", peer.public_key->c_str());
  if (peer.endpoint) std::fprintf(file, "Endpoint = %s\n", peer.endpoint->c_str());
  if (peer.allowed_ips) std::fprintf(file, "AllowedIPs = %s\n", peer.allowed_ips->c_str());
  if (peer.preshared_key) std::fprintf(file, "PresharedKey = %s\n", peer.preshared_key->c_str());
  if (peer.keep_alive) std::fprintf(file, "PersistentKeepalive = %d\n", *peer.keep_alive);
}

// Routes all traffic without the tunnel's mark by its table, except that every route of the main table more
// specific than a default route takes precedence.
static void write_policy_rules(std::FILE* file, int table) {
  std::fprintf(file,
               "\n[RoutingPolicyRule]\nFamily = both\nInvertRule = true\nFirewallMark = %d\nTable = %d\n",
               table, table);
  std::fprintf(file, "\n[RoutingPolicyRule]\nFamily = both\nTable = main\nSuppressPrefixLength = 0\n");
}

// Returns 0, or -1 when the unit cannot be written.
static int write_netdev_unit(const NetworkContext* ctx, const WireguardInterface& interface, char* key,
                             std::size_t key_size) {
  const unsigned index = interface.index;
  OpenFile file = open_private_unit_file(ctx, index);
  if (!file) return -1;
  std::fprintf(file.get(), "[NetDev]\nName = %s\nKind = wireguard\n\n", wireguard_link_name(index).c_str());
  write_wireguard_private_key(file.get(), key, key_size);
  std::fprintf(file.get(), "FirewallMark = %d\n", wireguard_table(static_cast<int>(index)));
  for (const WireguardPeer& peer : interface.peers)
    write_peer(file.get(), peer);
  return file.close();
}

// Returns 0, or -1 when the unit cannot be written.
static int write_network_unit(const NetworkContext* ctx, const WireguardInterface& interface) {
  const unsigned index = interface.index;
  OpenFile file = open_unit_file(ctx, unit_order(index), kUnitName, "network");
  if (!file) return -1;
  const int table = wireguard_table(static_cast<int>(index));
  std::fprintf(file.get(), "[Match]\nName = %s\n\n[Network]\n", wireguard_link_name(index).c_str());
  if (interface.address) std::fprintf(file.get(), "Address = %s\n", interface.address->c_str());
  // Including those of peers without a section.
  for (const WireguardPeer& peer : interface.peers) {
    for (const std::string& network : peer.networks())
      std::fprintf(file.get(), "\n[Route]\nDestination = %s\nTable = %d\n", network.c_str(), table);
  }
  write_policy_rules(file.get(), table);
  return file.close();
}

std::string wireguard_link_name(unsigned index) {
  return format("wg%u", index);
}

std::string wireguard_private_key_file(const std::string& name) {
  return format("/var/data/qel/.wg/%s-private.key", name.c_str());
}

void write_wireguard_private_key(std::FILE* file, char* key, std::size_t size) {
  std::fprintf(file, "[WireGuard]\nPrivateKey = %s\n", key);
  explicit_bzero(key, size);
}

static int write_wireguard_network_unit_files(const NetworkContext* ctx,
                                              const WireguardInterface& interface) {
  print_trace(ctx, __func__);
  const unsigned index = interface.index;
  syslog(LOG_INFO, "configure Wireguard interface wg%d", static_cast<int>(index));
  // A key has 44 characters; the rest is for padding.
  char key[128] = "";
  if (read_var_file(wireguard_private_key_file(wireguard_link_name(index)).c_str(), key, sizeof key) != 0) {
    syslog(LOG_NOTICE, "error reading wireguard private key file");
    return -1;
  }
  const int netdev_result = write_netdev_unit(ctx, interface, key, sizeof key);
  explicit_bzero(key, sizeof key);
  if (netdev_result != 0) {
    syslog(LOG_NOTICE, "wireguard error writing wireguard netdev unit file");
    return -1;
  }
  if (write_network_unit(ctx, interface) != 0) {
    syslog(LOG_NOTICE, "error writing wireguard network unit file");
    return -1;
  }
  return 0;
}

int wireguard_apply(const NetworkContext* ctx) {
  print_trace(ctx, __func__);
  Json::Value wireguard;
  if (cmd_get_value_json(kConfiguration, wireguard) != 0) {
    syslog(LOG_NOTICE, "error reading config %s", kConfiguration);
    return 0;
  }
  for (const WireguardInterface& interface : read_wireguard_interfaces(wireguard)) {
    if (write_wireguard_network_unit_files(ctx, interface) != 0) {
      syslog(LOG_INFO, "lanfab failed creating wireguard interface wg%d", static_cast<int>(interface.index));
      continue;
    }
    run_shell(format("ip link add dev %s type wireguard", wireguard_link_name(interface.index).c_str()));
  }
  return 0;
}

int write_wireguard_network_unit_files(const NetworkContext* ctx, unsigned index,
                                       const Json::Value& interface_config) {
  return write_wireguard_network_unit_files(ctx, read_interface(index, interface_config));
}

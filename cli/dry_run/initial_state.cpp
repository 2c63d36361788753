#include "cli/dry_run/initial_state.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string_view>

#include "cli/base/terminal.h"
#include "config/ports.h"
#include "config/wwan_state.h"
#include "dnsmasq/hosts.h"
#include "driver/run_lock.h"
#include "libsysdb/sysdb_file.h"
#include "networkd/unit_file.h"
#include "platform/libvantor.h"

// The content of packaging/tmpfiles.conf: directories in the OS image of a gateway.
extern const std::string_view kImageDirectories;

constexpr char kRuntimeDirectory[] = "/var/run";
constexpr char kStagingDirectory[] = "/var/volatile/qel";
constexpr char kNetworkd[] = "systemd-networkd";
constexpr char kConnected[] = "CELL_CONNECTED";

// Example values of the cellular link, as in docs/files.md.
static std::vector<File> example_link() {
  std::vector<File> files;
  for (const auto& [name, value] :
       std::initializer_list<std::pair<const char*, const char*>>{{"wwan_intf", "wwan0"},
                                                                  {"wwan_ipv4", "10.64.1.2"},
                                                                  {"wwan_cidr", "30"},
                                                                  {"wwan_netmask", "255.255.255.252"},
                                                                  {"wwan_gw", "10.64.1.1"},
                                                                  {"wwan_mtu", "1430"},
                                                                  {"wwan_dns1", "198.51.100.53"},
                                                                  {"wwan_dns2", "203.0.113.53"}}) {
    files.push_back({std::string(kRuntimeDirectory) + "/" + name, 0644, std::string(value) + "\n"});
  }
  return files;
}

bool is_gateway() {
  char interface[kWwanInterfaceTextSize] = "";
  read_wwan_intf(interface);
  return *interface != '\0' || file_exists(kHostsFile);
}

static bool is_link_value(const File& file) {
  const std::string beginning = std::string(kRuntimeDirectory) + "/wwan_";
  return file.path.compare(0, beginning.size(), beginning) == 0;
}

// The path up to the last slash, without it.
static std::string parent_of(const std::string& path) {
  return path.substr(0, path.find_last_of('/'));
}

Tree state_of_this_machine() {
  Tree tree;
  add_directory(kRuntimeDirectory, 1, tree);
  const std::string unit_directory = parent_of(kUnitDir);
  add_directory(parent_of(unit_directory), 1, tree);
  add_directory(unit_directory, kAnyDepth, tree);
  add_directory(kStagingDirectory, kAnyDepth, tree);
  const auto is_lock = [](const File& file) { return file.path == kLockFile; };
  tree.files.erase(std::remove_if(tree.files.begin(), tree.files.end(), is_lock), tree.files.end());
  return tree;
}

// If the database of the machine is elsewhere, its copy replaces the one at the usual path.
static void copy_database(Tree& tree) {
  File database;
  if (std::strcmp(system_database_file(), kSystemDatabase) == 0) return;
  if (!read_file(system_database_file(), database)) return;
  database.path = kSystemDatabase;
  tree.files.push_back(std::move(database));
}

static void copy_this_machine(InitialState& state) {
  state.tree = state_of_this_machine();
  copy_database(state.tree);
  for (const EthernetPort& port : kEthernetPorts) {
    char address[18] = "";
    if (get_if_hw_addr_formatted(port.name, address) == 0) state.ports.push_back({port.name, address});
  }
  if (is_service_active(kNetworkd)) state.active_services.emplace_back(kNetworkd);
}

// Adds the directories in lines such as "d /run/systemd/network 0755 root root -".
static void add_image_directories(Tree& tree) {
  std::istringstream lines{std::string(kImageDirectories)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    char type = 0;
    Directory directory{};
    if (fields >> type >> directory.path >> std::oct >> directory.mode && type == 'd') {
      tree.directories.push_back(directory);
    }
  }
}

static void reset_to_boot(InitialState& state) {
  add_image_directories(state.tree);
  for (const EthernetPort& port : kEthernetPorts) {
    // A locally administered address, outside the ranges of all vendors.
    char address[18];
    std::snprintf(address, sizeof address, "02:00:5e:00:53:%02x",
                  static_cast<unsigned>(state.ports.size() & 0xff));
    state.ports.push_back({port.name, address});
  }
}

// Reads the values of the cellular link from a directory, whose files have the same names as in /var/run.
// Returns nullopt, or an error message.
static std::optional<std::string> read_link(const std::string& directory, std::vector<File>& link,
                                            std::string& connected) {
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) return printable(directory) + ": " + std::strerror(errno);
  if (!S_ISDIR(status.st_mode)) return printable(directory) + ": " + std::strerror(ENOTDIR);
  Tree tree;
  add_directory(directory, 1, tree);
  for (File& file : tree.files) {
    file.path.replace(0, directory.size(), kRuntimeDirectory);
    if (is_link_value(file)) link.push_back(file);
    if (file.path == std::string(kRuntimeDirectory) + "/" + kConnected) {
      connected = file.content.substr(0, file.content.find('\n'));
    }
  }
  if (link.empty()) return printable(directory) + ": contains no file wwan_*";
  return std::nullopt;
}

std::optional<std::string> make_initial_state(const std::string& cell, InitialState& state) {
  const bool is_machine = cell == "here" || is_gateway();
  if (is_machine) {
    copy_this_machine(state);
  } else {
    reset_to_boot(state);
  }
  if (cell == "here" || (cell.empty() && is_machine)) return std::nullopt;

  std::vector<File> link;
  std::string connected = cell == "down" ? "0" : "1";
  if (cell.empty() || cell == "up") {
    link = example_link();
  } else if (cell != "down") {
    if (auto error = read_link(cell, link, connected)) return error;
  }
  std::vector<File>& files = state.tree.files;
  files.erase(std::remove_if(files.begin(), files.end(), is_link_value), files.end());
  files.insert(files.end(), link.begin(), link.end());
  state.is_cell_connected = connected;
  return std::nullopt;
}

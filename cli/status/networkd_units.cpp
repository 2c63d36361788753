#include "cli/status/networkd_units.h"

#include <net/if.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <set>

#include "cli/base/file.h"
#include "cli/base/text.h"
#include "cli/status/modified.h"

constexpr char kRunDirectory[] = "/run/systemd/network/";
// Directory with a higher priority than that of the runs, and all directories that may contain drop-ins, in
// the order of systemd.network(5).
constexpr char kFirstDirectory[] = "/etc/systemd/network/";
constexpr std::array<const char*, 4> kDropInDirectories = {
    kFirstDirectory, kRunDirectory, "/usr/local/lib/systemd/network/", "/usr/lib/systemd/network/"};
constexpr char kLinkStates[] = "/run/systemd/netif/links/";

std::string InterfaceUnits::network_file() const {
  for (const UnitFile& unit : own)
    if (ends_with(unit.path, ".network")) return unit.path;
  return "";
}

// Interface of a run's unit, from a name such as "20-eth0.network"; empty for any other file.
static std::string interface_of(const std::string& name) {
  std::size_t dash = 0;
  while (dash < name.size() && std::isdigit(static_cast<unsigned char>(name[dash])) != 0)
    ++dash;
  if (dash == 0 || dash == name.size() || name[dash] != '-') return "";
  for (const std::string kind : {".network", ".netdev"})
    if (ends_with(name, kind)) return name.substr(dash + 1, name.size() - kind.size() - dash - 1);
  return "";
}

static std::string path_of(const std::string& root, const char* directory, const std::string& name) {
  return root + directory + name;
}

// Adds the drop-ins of a unit. A drop-in replaces those of the same name in later directories; an empty one
// or a link to /dev/null only masks them and is not added.
static void add_drop_ins(const std::string& root, const std::string& unit, std::vector<UnitFile>& files) {
  std::set<std::string> seen;
  for (const char* parent : kDropInDirectories) {
    const std::string directory = path_of(root, parent, unit + ".d/");
    for (const std::string& name : list_directory(directory).value_or(std::vector<std::string>())) {
      if (!ends_with(name, ".conf") || !seen.insert(name).second) continue;
      const std::string path = directory + name;
      struct stat status {};
      if (stat(path.c_str(), &status) == 0 && status.st_size != 0) files.push_back({path, modified_at(path)});
    }
  }
}

// When systemd-networkd last saved the state of a link, which it does after it has read changed files for it.
static std::int64_t saved_at(const std::string& root, const std::string& interface) {
  return modified_at(root + kLinkStates + std::to_string(if_nametoindex(interface.c_str())));
}

std::map<std::string, InterfaceUnits> read_networkd_units(const std::string& root) {
  std::map<std::string, InterfaceUnits> interfaces;
  const std::string directory = root + kRunDirectory;
  for (const std::string& name : list_directory(directory).value_or(std::vector<std::string>())) {
    const std::string interface = interface_of(name);
    if (interface.empty()) continue;
    InterfaceUnits& units = interfaces[interface];
    const std::string path = directory + name;
    units.own.push_back({path, modified_at(path)});
    const std::string first = path_of(root, kFirstDirectory, name);
    if (access(first.c_str(), F_OK) == 0) units.overrides.push_back({first, modified_at(first)});
    add_drop_ins(root, name, units.overrides);
  }
  for (auto& [interface, units] : interfaces)
    units.saved = saved_at(root, interface);
  return interfaces;
}

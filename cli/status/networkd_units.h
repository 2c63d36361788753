#pragma once

// Unit files of systemd-networkd for the interfaces of the last run, and when it last read them.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct UnitFile {
  std::string path;
  std::int64_t modified = 0;  // microseconds since 1970
};

struct InterfaceUnits {
  std::vector<UnitFile> own;        // those of the run: the .network file, the .netdev file
  std::vector<UnitFile> overrides;  // files that replace or change them: drop-ins, files of the same name
  std::int64_t saved = 0;  // when systemd-networkd last saved the state of the link; 0 without a link

  // Path of the run's .network file; empty if there is none.
  std::string network_file() const;
};

// Returns the units by interface. `root` is prepended to each path.
std::map<std::string, InterfaceUnits> read_networkd_units(const std::string& root = "");

#pragma once

// Finds generated files that differ from the ones that a run of cmd_lanfab would write now. Uses dry runs.

#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/source.h"

struct DeviatingFile {
  enum class Kind { kMissing, kSurplus, kContent, kMode };

  std::string path;
  Kind kind;
  std::string action;  // that fixes it with the least interruption: "dnsmasq", "wwan_apply" or "apply"
};

struct DeviatingFiles {
  // Why there is no result: the error, and whether the configuration causes it, rather than this machine or
  // the privileges of this user.
  struct Error {
    std::string what;
    bool is_of_configuration = false;
  };

  std::vector<DeviatingFile> files;  // sorted by path
  std::optional<Error> error;
};

// Time limit for a dry run, in seconds.
inline constexpr int kDryRunSeconds = 10;

// Compares the files of this machine with those of a dry run. `has_link`: whether all values of the cellular
// link are available. If not, files that WWAN_APPLY wrote for the former link do not deviate: only an APPLY
// removes them.
DeviatingFiles find_deviating_files(const Source& source, bool has_link);

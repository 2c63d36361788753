#pragma once

// Finds generated files that differ from those that a run of cmd_lanfab would write now, by dry runs.

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
  // Why there is no answer: what failed, and whether the configuration is to blame, rather than this machine
  // or the rights of this user.
  struct Error {
    std::string what;
    bool is_of_configuration = false;
  };

  std::vector<DeviatingFile> files;  // by path
  std::optional<Error> error;
};

// How long a dry run may take, in seconds.
inline constexpr int kDryRunSeconds = 10;

// `has_link` is whether the cellular link has all its values. While it has not, the files that WWAN_APPLY
// made for the former link are as they should be: only an APPLY removes them.
DeviatingFiles find_deviating_files(const Source& source, bool has_link);

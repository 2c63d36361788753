#pragma once

// Drift that the operator has allowed: foreign but harmless settings, such as an address of a VRRP daemon.

#include <string>
#include <vector>

#include "cli/status/drift.h"

inline constexpr char kAllowFile[] = "/etc/lanfab/status.allow";

struct AllowedDrift {
  struct Pattern {
    std::string subject;
    std::string what;
  };
  std::vector<Pattern> patterns;
  std::vector<Drift> errors;  // errors in the file, reported as drift
};

// Parses the content of kAllowFile: lines "SUBJECT: TEXT", in which "*" matches any characters. Blank lines
// and lines that begin with "#" are ignored.
AllowedDrift parse_allowances(const std::string& text);

// Whether all of `text` matches `pattern`, in which "*" matches any number of characters, including none.
bool matches_pattern(const std::string& pattern, const std::string& text);

// Moves drift that kAllowFile allows from `drift` to `allowed`. Errors in the file are added to `drift`; if
// the file cannot be read, the reason is added to `not_checked`. Without the file, nothing is allowed.
void set_allowed_aside(std::vector<Drift>& drift, std::vector<Drift>& allowed,
                       std::vector<std::string>& not_checked);

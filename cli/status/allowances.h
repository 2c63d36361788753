#pragma once

// Drift that the operator has allowed: foreign but harmless things, such as the address of a VRRP daemon.

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
  std::vector<Drift> errors;  // about lines that are not a pattern
};

// Parses lines "SUBJECT: TEXT", in which "*" stands for any characters. Blank lines and comments with # are
// ignored.
AllowedDrift parse_allowances(const std::string& text);

// Whether a text is a pattern, in which "*" stands for any characters, also for none.
bool matches_pattern(const std::string& pattern, const std::string& text);

// Moves what kAllowFile allows from `drift` to `allowed`. Errors in the file are added to `drift`; if it
// cannot be read, that is added to `not_checked`. Without the file, nothing is allowed.
void set_allowed_aside(std::vector<Drift>& drift, std::vector<Drift>& allowed,
                       std::vector<std::string>& not_checked);

#pragma once

// Findings that the author of a configuration allows, by a comment in it, "lanfab: allow RULE", or on the
// command line. They do not count as errors or warnings.

#include <optional>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

// The rules about the comments themselves.
inline constexpr char kAllowUnknown[] = "allow-unknown";
inline constexpr char kAllowUnused[] = "allow-unused";

struct AllowedFinding {
  Finding finding;
  bool is_in_file;  // by a comment, not on the command line
};

// All findings in a configuration: those that count, in file order, and those that are allowed.
struct Judgement {
  std::vector<Finding> findings;
  std::vector<AllowedFinding> allowed;
};

// Returns why the option --allow rejects the rule; nothing if it accepts the rule.
std::optional<std::string> why_not_allowed(const std::string& rule);

// Separates the findings that are allowed, by a comment in the text or because their rule is one of `rules`,
// and adds the findings about the comments.
Judgement judgement_of(const std::string& text, std::vector<Finding> findings,
                       const std::vector<std::string>& rules);

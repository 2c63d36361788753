#pragma once

// Findings that the author of a configuration allows: by a comment in it, "lanfab: allow RULE", or on the
// command line. They count neither as errors nor as warnings.

#include <optional>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

// The rules about the comments themselves.
inline constexpr char kAllowUnknown[] = "allow-unknown";
inline constexpr char kAllowUnused[] = "allow-unused";

struct AllowedFinding {
  Finding finding;
  bool is_in_file;  // by a comment
};

// All that is found in a configuration, in the order of the text.
struct Judgement {
  std::vector<Finding> findings;
  std::vector<AllowedFinding> allowed;
};

// Returns nothing if the option --allow accepts the rule, or why it does not.
std::optional<std::string> why_not_allowed(const std::string& rule);

// Separates what is allowed, by comments in the text or because its rule is one of `rules`, and adds what is
// wrong with the comments.
Judgement judgement_of(const std::string& text, std::vector<Finding> findings,
                       const std::vector<std::string>& rules);

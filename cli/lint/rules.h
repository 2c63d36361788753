#pragma once

// The rules of `lanfab check`. A rule is a function from the configuration to findings. Each family of rules
// is a pair of files of this directory, <family>_rules; one table lists all rules.

#include <vector>

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

// What dnsmasq itself refuses.
inline constexpr char kDnsmasqRefuses[] = "dnsmasq-refuses";

struct Rule {
  const char* name;
  // Error: the services reject it, or it cannot have the configured effect. Warning: it works, but probably
  // not as intended.
  Severity severity;
  // Null for kSyntaxRule (cli/config_file/syntax.h), kDnsmasqRefuses (cli/lint/dnsmasq_check.h) and the rules
  // about comments (cli/lint/allow.h).
  void (*examine)(const Site& site, Findings& findings);
};

const std::vector<Rule>& all_rules();

// What all rules find, in the order of the text, at most kMostListed of each. What only follows from a value
// that cannot be read is left out. The tree of `source` is as before in the end.
std::vector<Finding> examine(Source& source);

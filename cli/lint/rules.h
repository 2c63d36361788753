#pragma once

// The rules of `lanfab check`. A rule is a function from the configuration to findings. Each family of rules
// is a pair of files in this directory, <family>_rules; one table lists all rules.

#include <vector>

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

// The rule about configurations that dnsmasq rejects.
inline constexpr char kDnsmasqRefuses[] = "dnsmasq-refuses";

struct Rule {
  const char* name;
  // Error: a service rejects the setting, or the setting cannot take effect. Warning: it works, but probably
  // not as intended.
  Severity severity;
  // Null for kSyntaxRule (cli/config_file/syntax.h), kDnsmasqRefuses (cli/lint/dnsmasq_check.h) and the rules
  // about comments (cli/lint/allow.h).
  void (*examine)(const Site& site, Findings& findings);
};

const std::vector<Rule>& all_rules();

// Returns the findings of all rules in file order, at most kMostListed of each rule, without those that only
// follow from a value that cannot be read. Changes the tree of `source` temporarily.
std::vector<Finding> examine(Source& source);

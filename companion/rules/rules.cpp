#include "companion/rules/rules.h"

#include <algorithm>

#include "companion/rules/leases.h"
#include "companion/rules/texts.h"

const std::vector<Rule>& all_rules() {
  static const std::vector<Rule> kRules = {
      {"lease-address-twice", Severity::kError, lease_address_twice},
      {"text-refused", Severity::kError, text_refused},
  };
  return kRules;
}

std::vector<Finding> examine(const Source& source) {
  const Site site(source);
  std::vector<Finding> found;
  for (const Rule& rule : all_rules()) {
    Findings findings(rule.name, rule.severity, found);
    rule.examine(site, findings);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
  return found;
}

#pragma once

// Validates the generated dnsmasq.conf with `dnsmasq --test`.

#include <optional>
#include <string>
#include <vector>

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

// Makes a dry run with the cellular link up, and checks its dnsmasq.conf with the program at the path
// `dnsmasq`. If dnsmasq rejects it, inserts a finding into `findings`, which are in file order. Returns
// nothing, or an error message if the check could not run.
std::optional<std::string> test_with_dnsmasq(const std::string& dnsmasq, const Site& site,
                                             std::vector<Finding>& findings);

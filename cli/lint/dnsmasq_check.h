#pragma once

// dnsmasq's own word on what a run would write for it.

#include <optional>
#include <string>
#include <vector>

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

// Tries the configuration out with the cellular link up, and has the program `dnsmasq`, a path, test what
// comes out. Adds a finding for what it refuses to `findings`, which stay in the order of the text. Returns
// nothing, or a message that says why dnsmasq could not be asked.
std::optional<std::string> ask_dnsmasq(const std::string& dnsmasq, const Site& site,
                                       std::vector<Finding>& findings);

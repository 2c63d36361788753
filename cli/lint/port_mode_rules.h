#pragma once

// Rules about the Ethernet ports and their modes.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void port_without_network(const Site& site, Findings& findings);
void port_mode_missing(const Site& site, Findings& findings);
void passthrough_twice(const Site& site, Findings& findings);
void passthrough_port_disabled(const Site& site, Findings& findings);
void passthrough_without_cell(const Site& site, Findings& findings);
void passthrough_incomplete(const Site& site, Findings& findings);
void passthrough_netmask(const Site& site, Findings& findings);
void fallback_without_address(const Site& site, Findings& findings);

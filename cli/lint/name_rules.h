#pragma once

// Rules about name servers, host names, and the two roles of a radio.

#include "cli/lint/finding.h"
#include "cli/lint/site.h"

void name_server_malformed(const Site& site, Findings& findings);
void name_server_none(const Site& site, Findings& findings);
void name_server_unusable(const Site& site, Findings& findings);
void name_server_unreachable(const Site& site, Findings& findings);
void host_incomplete(const Site& site, Findings& findings);
void host_address_malformed(const Site& site, Findings& findings);
void host_name_invalid(const Site& site, Findings& findings);
void host_name_twice(const Site& site, Findings& findings);
void radio_two_roles(const Site& site, Findings& findings);

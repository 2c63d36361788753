#pragma once

// Describes changes to interfaces in sentences: their units, DHCP servers and DHCP relays.

#include "cli/compare/facts.h"
#include "cli/compare/sentences.h"

void describe_interfaces(const Facts& before, const Facts& after, Sentences& sentences);

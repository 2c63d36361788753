#pragma once

// The interfaces in sentences: their units, and what dnsmasq serves on them.

#include "cli/compare/facts.h"
#include "cli/compare/sentences.h"

void describe_interfaces(const Facts& before, const Facts& after, Sentences& sentences);
